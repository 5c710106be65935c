#pragma once

#include <QString>

#include <stdexcept>

namespace tw {

// Launch at login as the desktop does it: an XDG autostart entry, tidewatch.desktop, in the user's
// autostart folder. The entry's presence is the state; nothing else remembers it.
class LoginItem
{
public:
    enum class Status { NotRegistered, Enabled };
    enum class Action { None, Register, Unregister };

    class Error : public std::runtime_error
    {
    public:
        explicit Error(const QString &text);
        QString text() const { return QString::fromUtf8(what()); }
    };

    // `executable` is what the entry starts; the running program unless a test says otherwise.
    explicit LoginItem(QString path = defaultPath(), QString executable = {});

    QString path() const { return m_path; }
    Status status() const;
    // Both throw Error with a text the user can act on.
    void registerItem() const;
    void unregisterItem() const;

    // $XDG_CONFIG_HOME/autostart/tidewatch.desktop, or under ~/.config when that is unset or relative.
    static QString defaultPath();
    static QByteArray entry(const QString &executable);
    // The Exec value for a program path, quoted and escaped as the desktop entry format requires.
    static QString execValue(const QString &executable);
    // What a change of the switch to `on` asks of an item in `status`.
    static Action actionFor(Status status, bool on);

private:
    QString m_path;
    QString m_executable;
};

} // namespace tw
