#pragma once

#include "kit/model/OverallStatus.h"

#include <QAction>
#include <QMenu>
#include <QObject>
#include <QRect>
#include <QSystemTrayIcon>

#include <memory>

namespace tw {

class AppState;

// The status item: one icon whose dot follows the overall status, a left click for the popover and
// the context menu Linux panels expect on a right click.
class TrayController : public QObject
{
    Q_OBJECT
public:
    explicit TrayController(AppState *state, QObject *parent = nullptr);
    ~TrayController() override;

    void show();
    // Where the popover should hang from: the icon itself in an XEmbed tray, the point a
    // StatusNotifierItem host reported for the click, or else the pointer.
    QRect iconGeometry() const;
    OverallStatus shownStatus() const { return m_shown; }
    void showMessage(const QString &title, const QString &body);
    // Adds a shape to the status dot, for those who cannot tell the colours apart.
    void setStatusShapes(bool on);
    QMenu *menu() const { return m_menu.get(); }

Q_SIGNALS:
    void popoverRequested();
    void settingsRequested();
    void quitRequested();

private:
    void refresh();
    void listTroubledSources();

    AppState *m_state;
    std::unique_ptr<QMenu> m_menu;
    QSystemTrayIcon *m_tray;
    QAction *m_pauseAction;
    QAction *m_refreshAction;
    QMenu *m_snoozeMenu;
    QAction *m_snoozeState;
    QAction *m_resumeNotifications;
    QList<QAction *> m_sourceSnoozes;
    bool m_shapes = false;
    OverallStatus m_shown = OverallStatus::Unknown;
    bool m_painted = false;
};

} // namespace tw
