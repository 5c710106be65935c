#include "FileChooser.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QFileDialog>
#include <QGuiApplication>
#include <QUrl>
#include <QUuid>
#include <QWindow>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr auto portalService = "org.freedesktop.portal.Desktop";
constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto chooserInterface = "org.freedesktop.portal.FileChooser";
constexpr auto requestInterface = "org.freedesktop.portal.Request";

// One filter of the portal's a(sa(us)): a name and its glob patterns (type 0).
struct PortalFilter
{
    QString name;
    QStringList patterns;
};

QDBusArgument &operator<<(QDBusArgument &argument, const PortalFilter &filter)
{
    argument.beginStructure();
    argument << filter.name;
    argument.beginArray(QMetaType::fromType<std::pair<uint, QString>>());
    for (const QString &pattern : filter.patterns) {
        argument.beginStructure();
        argument << uint(0) << pattern;
        argument.endStructure();
    }
    argument.endArray();
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalFilter &filter)
{
    argument.beginStructure();
    argument >> filter.name;
    argument.beginArray();
    while (!argument.atEnd()) {
        uint type = 0;
        QString pattern;
        argument.beginStructure();
        argument >> type >> pattern;
        argument.endStructure();
        filter.patterns.append(pattern);
    }
    argument.endArray();
    argument.endStructure();
    return argument;
}

// The portal takes paths as bytes with a final NUL.
QByteArray portalPathBytes(const QString &path)
{
    QByteArray bytes = QFile::encodeName(path);
    bytes.append('\0');
    return bytes;
}

} // namespace

Q_DECLARE_METATYPE(PortalFilter)

namespace tw {

FileChooser::FileChooser(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{
    qDBusRegisterMetaType<std::pair<uint, QString>>();
    qDBusRegisterMetaType<PortalFilter>();
    qDBusRegisterMetaType<QList<PortalFilter>>();
}

FileChooser::~FileChooser() = default;

bool FileChooser::portalAvailable(const QDBusConnection &bus)
{
    QDBusConnectionInterface *daemon = bus.isConnected() ? bus.interface() : nullptr;
    if (!daemon)
        return false;
    if (daemon->isServiceRegistered(QString::fromLatin1(portalService)))
        return true;
    // Desktops start the portal on demand.
    return daemon->activatableServiceNames().value().contains(QString::fromLatin1(portalService));
}

void FileChooser::choose(QWindow *parent, const Request &request, Done done)
{
    if (m_done) {
        done(QString());
        return;
    }
    m_done = std::move(done);
    m_request = request;
    m_parent = parent;
    if (portalAvailable(m_bus))
        chooseWithPortal(parent, request);
    else
        chooseWithDialog(parent, request);
}

void FileChooser::chooseWithPortal(QWindow *parent, const Request &request)
{
    // The portal tells which window to sit on by the window system's handle.
    QString parentHandle;
    if (parent && QGuiApplication::platformName() == u"xcb"_s)
        parentHandle = u"x11:"_s + QString::number(parent->winId(), 16);
    const QString token = u"tidewatch_"_s + QUuid::createUuid().toString(QUuid::Id128);
    QVariantMap options{{u"handle_token"_s, token}, {u"modal"_s, true}};
    if (!request.patterns.isEmpty()) {
        const PortalFilter filter{request.filterName, request.patterns};
        options[u"filters"_s] = QVariant::fromValue(QList<PortalFilter>{filter});
        options[u"current_filter"_s] = QVariant::fromValue(filter);
    }
    if (!request.folder.isEmpty())
        options[u"current_folder"_s] = portalPathBytes(request.folder);
    if (request.mode == Mode::Save && !request.suggestedName.isEmpty())
        options[u"current_name"_s] = request.suggestedName;

    // The answer comes as a signal on a request object whose path the token foretells; listening
    // before the call leaves no gap for a quick answer to slip through.
    QString sender = m_bus.baseService().mid(1);
    sender.replace(u'.', u'_');
    watchRequest(QString::fromLatin1(portalPath) + u"/request/"_s + sender + u'/' + token);

    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(portalService),
                                                       QString::fromLatin1(portalPath),
                                                       QString::fromLatin1(chooserInterface),
                                                       request.mode == Mode::Save ? u"SaveFile"_s : u"OpenFile"_s);
    call << parentHandle << request.title << options;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *self) {
        self->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *self;
        if (!m_done)
            return;
        if (reply.isError()) {
            // A portal without a file chooser for this desktop: the widget dialog still works.
            watchRequest(QString());
            chooseWithDialog(m_parent, m_request);
            return;
        }
        if (reply.value().path() != m_requestPath)
            watchRequest(reply.value().path()); // an older portal names its own path
    });
}

void FileChooser::watchRequest(const QString &path)
{
    if (!m_requestPath.isEmpty()) {
        m_bus.disconnect(QString::fromLatin1(portalService),
                         m_requestPath,
                         QString::fromLatin1(requestInterface),
                         u"Response"_s,
                         this,
                         SLOT(portalResponded(uint, QVariantMap)));
    }
    m_requestPath = path;
    if (!path.isEmpty()) {
        m_bus.connect(QString::fromLatin1(portalService),
                      path,
                      QString::fromLatin1(requestInterface),
                      u"Response"_s,
                      this,
                      SLOT(portalResponded(uint, QVariantMap)));
    }
}

void FileChooser::portalResponded(uint response, const QVariantMap &results)
{
    watchRequest(QString());
    if (!m_done)
        return;
    constexpr uint cancelled = 1;
    if (response == 0) {
        const QUrl url(results.value(u"uris"_s).toStringList().value(0));
        finish(url.isLocalFile() ? url.toLocalFile() : QString());
    } else if (response == cancelled) {
        finish(QString());
    } else {
        // The portal could not show its dialog.
        chooseWithDialog(m_parent, m_request);
    }
}

void FileChooser::chooseWithDialog(QWindow *parent, const Request &request)
{
    auto *dialog = new QFileDialog(nullptr, request.title, request.folder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(request.mode == Mode::Save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    dialog->setFileMode(request.mode == Mode::Save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    if (!request.patterns.isEmpty()) {
        dialog->setNameFilters({request.filterName + u" ("_s + request.patterns.join(u' ') + u')', u"All files (*)"_s});
        if (request.mode == Mode::Save)
            dialog->setDefaultSuffix(request.patterns.first().section(u'.', -1));
    }
    if (request.mode == Mode::Save && !request.suggestedName.isEmpty())
        dialog->selectFile(request.suggestedName);
    // A dialog without a parent widget is tied to the window through its window handle, which
    // both keeps it above the window and blocks the window while it is open.
    dialog->setWindowModality(Qt::WindowModal);
    dialog->winId();
    if (parent && dialog->windowHandle())
        dialog->windowHandle()->setTransientParent(parent);
    connect(dialog, &QDialog::finished, this, [this, dialog](int result) {
        finish(result == QDialog::Accepted ? dialog->selectedFiles().value(0) : QString());
    });
    dialog->open();
}

void FileChooser::finish(const QString &path)
{
    if (Done done = std::exchange(m_done, {}))
        done(path);
}

} // namespace tw
