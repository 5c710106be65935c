#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>

namespace tw {

class AppState;

// The running application's door for programs that change its sources: while it runs it is the one
// writer of sources.json, so the command line hands its change over here instead of writing the
// file behind the application's back (which the application would overwrite at its next save).
// Exported on the session bus beside the name the application owns.
class SourcesService : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "dev.ostrel.Tidewatch.Sources")
public:
    static constexpr auto serviceName = "dev.ostrel.Tidewatch"; // owned by the single instance
    static constexpr auto objectPath = "/dev/ostrel/Tidewatch/Sources";
    static constexpr auto interfaceName = "dev.ostrel.Tidewatch.Sources";
    static constexpr auto refusedError = "dev.ostrel.Tidewatch.Error.Refused";

    explicit SourcesService(AppState *state, QObject *parent = nullptr);

    // Exports the object; the caller owns the bus name.
    bool exportOn(QDBusConnection bus);

public Q_SLOTS:
    // The absolute path of the sources file the application keeps.
    Q_SCRIPTABLE QString SourcesFile();
    // One source as its JSON object; answers when it is polled.
    Q_SCRIPTABLE QString AddSource(const QString &json);
    // A whole list as a JSON array, as an import; answers how many sources there are now.
    Q_SCRIPTABLE int ReplaceSources(const QString &json);

private:
    void refuse(const QString &why);

    AppState *m_state;
};

} // namespace tw
