#include "TrayController.h"

#include "app/PopoverRows.h"
#include "app/PopoverText.h"
#include "app/TrayIconPainter.h"
#include "kit/monitor/AppState.h"

#include <QGuiApplication>
#include <QIcon>
#include <QPalette>
#include <QPixmap>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

QIcon trayIcon(OverallStatus status)
{
    // Panels ask for different sizes; painting each keeps the rack crisp instead of scaled.
    const QColor glyph = QGuiApplication::palette().color(QPalette::WindowText);
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64})
        icon.addPixmap(QPixmap::fromImage(TrayIconPainter::paint(status, size, glyph)));
    return icon;
}

} // namespace

TrayController::TrayController(AppState *state, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_menu(std::make_unique<QMenu>())
    , m_tray(new QSystemTrayIcon(this))
{
    m_menu->addAction(u"Open Tidewatch"_s, this, &TrayController::popoverRequested);
    m_refreshAction = m_menu->addAction(u"Refresh Now"_s, m_state, &AppState::refreshAll);
    m_pauseAction = m_menu->addAction(u"Pause Monitoring"_s, m_state, &AppState::togglePaused);
    m_menu->addSeparator();
    m_menu->addAction(u"Settings…"_s, this, &TrayController::settingsRequested);
    m_menu->addSeparator();
    m_menu->addAction(u"Quit Tidewatch"_s, this, &TrayController::quitRequested);
    m_tray->setContextMenu(m_menu.get());

    connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            Q_EMIT popoverRequested();
    });
    connect(m_state, &AppState::stateChanged, this, &TrayController::refresh);
    connect(m_state, &AppState::sourcesChanged, this, &TrayController::refresh);
    refresh();
}

TrayController::~TrayController() = default;

void TrayController::show()
{
    m_tray->show();
}

void TrayController::showMessage(const QString &title, const QString &body)
{
    m_tray->showMessage(title, body, QSystemTrayIcon::Warning);
}

QRect TrayController::iconGeometry() const
{
    return m_tray->geometry();
}

void TrayController::refresh()
{
    const OverallStatus status = m_state->overallStatus();
    if (!m_painted || status != m_shown) {
        m_tray->setIcon(trayIcon(status));
        m_shown = status;
        m_painted = true;
    }
    const bool paused = m_state->isPaused();
    m_pauseAction->setText(paused ? u"Resume Monitoring"_s : u"Pause Monitoring"_s);
    m_refreshAction->setEnabled(!paused);

    QString tip = u"Tidewatch: "_s + PopoverText::headline(status, m_state->sources().size());
    const auto summary = paused ? PopoverRows::inactiveSummary(m_state->snapshots())
                                : PopoverRows::affectedSummary(m_state->snapshots(), m_state->errors());
    if (summary)
        tip += u"\n"_s + *summary;
    m_tray->setToolTip(tip);
}

} // namespace tw
