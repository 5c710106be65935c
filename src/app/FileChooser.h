#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>

class QWindow;

namespace tw {

// The desktop's own file dialog: the XDG desktop portal's FileChooser where a portal is on the
// session bus (GNOME, KDE, Flatpak and most others), Qt's widget dialog otherwise. Either one is
// tied to the window it is opened for, so it stays above it and the window manager maps it.
class FileChooser : public QObject
{
    Q_OBJECT
public:
    enum class Mode { Open, Save };

    struct Request
    {
        Mode mode = Mode::Open;
        QString title;
        QString folder; // where the dialog starts
        QString suggestedName; // the file name a save offers
        QString filterName; // "JSON files"
        QStringList patterns; // "*.json"
        bool operator==(const Request &) const = default;
    };

    // Called once: the chosen local file, or an empty text when the user cancelled.
    using Done = std::function<void(const QString &)>;

    explicit FileChooser(QDBusConnection bus, QObject *parent = nullptr);
    ~FileChooser() override;

    // A second request while one is open brings nothing up and is answered as cancelled.
    void choose(QWindow *parent, const Request &request, Done done);
    bool isOpen() const { return bool(m_done); }
    // Whether the portal answers on `bus`; where not, the widget dialog is used.
    static bool portalAvailable(const QDBusConnection &bus);

private Q_SLOTS:
    void portalResponded(uint response, const QVariantMap &results);

private:
    void chooseWithPortal(QWindow *parent, const Request &request);
    void chooseWithDialog(QWindow *parent, const Request &request);
    void finish(const QString &path);
    void watchRequest(const QString &path);

    QDBusConnection m_bus;
    Done m_done;
    Request m_request;
    QPointer<QWindow> m_parent;
    QString m_requestPath;
};

} // namespace tw
