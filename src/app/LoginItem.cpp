#include "LoginItem.h"

#include "kit/model/AtomicFile.h"
#include "kit/model/FileWriteError.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace tw {

LoginItem::Error::Error(const QString &text)
    : std::runtime_error(text.toStdString())
{ }

LoginItem::LoginItem(QString path, QString executable)
    : m_path(std::move(path))
    , m_executable(std::move(executable))
{ }

QString LoginItem::defaultPath()
{
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    // The base directory rules ignore a relative value.
    if (config.isEmpty() || QDir::isRelativePath(config))
        config = QDir::homePath() + u"/.config"_s;
    return config + u"/autostart/tidewatch.desktop"_s;
}

LoginItem::Status LoginItem::status() const
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return Status::NotRegistered;
    // An entry the user switched off in the desktop's own settings stays, marked hidden.
    const QByteArray text = file.read(64 * 1024);
    for (const QByteArray &line : text.split('\n')) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed == "Hidden=true" || trimmed == "X-GNOME-Autostart-enabled=false")
            return Status::NotRegistered;
    }
    return Status::Enabled;
}

QString LoginItem::execValue(const QString &executable)
{
    static const QString reserved = u" \t\n\"'\\><~|&;$*?#()`"_s;
    const bool needsQuotes =
        std::any_of(executable.cbegin(), executable.cend(), [](QChar c) { return reserved.contains(c); });
    QString value;
    for (const QChar c : executable) {
        if (c == u'%')
            value += u"%%"_s;
        else if (needsQuotes && (c == u'"' || c == u'`' || c == u'$' || c == u'\\'))
            value += u'\\' + QString(c);
        else
            value += c;
    }
    if (needsQuotes)
        value = u'"' + value + u'"';
    // Then the string-level escape every value of the file gets.
    return value.replace(u'\\', u"\\\\"_s);
}

QByteArray LoginItem::entry(const QString &executable)
{
    return QStringList{
        u"[Desktop Entry]"_s,
        u"Type=Application"_s,
        u"Name=Tidewatch"_s,
        u"Comment=Watch your homelab from the tray"_s,
        u"Exec="_s + execValue(executable),
        u"Icon=dev.ostrel.Tidewatch"_s,
        u"Terminal=false"_s,
        u"X-GNOME-Autostart-enabled=true"_s,
        QString(),
    }
        .join(u'\n')
        .toUtf8();
}

void LoginItem::registerItem() const
{
    const QString executable = m_executable.isEmpty() ? QCoreApplication::applicationFilePath() : m_executable;
    const QString folder = QFileInfo(m_path).absolutePath();
    if (!QDir().mkpath(folder))
        throw Error(u"Tidewatch cannot create the folder %1."_s.arg(folder));
    try {
        AtomicFile::write(m_path, entry(executable));
    } catch (const FileWriteError &error) {
        throw Error(u"Tidewatch cannot write %1: %2."_s.arg(m_path, error.reason()));
    }
}

void LoginItem::unregisterItem() const
{
    QFile file(m_path);
    if (file.exists() && !file.remove())
        throw Error(u"Tidewatch cannot remove %1: %2."_s.arg(m_path, file.errorString()));
}

LoginItem::Action LoginItem::actionFor(Status status, bool on)
{
    switch (status) {
    case Status::Enabled:
        return on ? Action::None : Action::Unregister;
    case Status::NotRegistered:
        return on ? Action::Register : Action::None;
    }
    return Action::None;
}

} // namespace tw
