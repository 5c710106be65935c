#include "SourcesService.h"

#include "kit/model/SourcesStore.h"
#include "kit/monitor/AppState.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace tw {

SourcesService::SourcesService(AppState *state, QObject *parent)
    : QObject(parent)
    , m_state(state)
{ }

bool SourcesService::exportOn(QDBusConnection bus)
{
    return bus.registerObject(QString::fromLatin1(objectPath), this, QDBusConnection::ExportScriptableSlots);
}

void SourcesService::refuse(const QString &why)
{
    if (calledFromDBus())
        sendErrorReply(QString::fromLatin1(refusedError), why);
}

QString SourcesService::SourcesFile()
{
    return QDir(m_state->sourcesDirectory()).absoluteFilePath(u"sources.json"_s);
}

QString SourcesService::AddSource(const QString &json)
{
    QJsonParseError parse{};
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8(), &parse);
    if (!document.isObject()) {
        refuse(u"the source is not a JSON object"_s);
        return {};
    }
    std::optional<AnySourceConfig> read;
    try {
        read = AnySourceConfig::fromJson(document.object());
    } catch (const std::exception &error) {
        refuse(u"the source cannot be read: "_s + QString::fromUtf8(error.what()));
        return {};
    }
    const AnySourceConfig &config = *read;
    const auto &sources = m_state->sources();
    if (std::any_of(sources.cbegin(), sources.cend(), [&](const AnySourceConfig &s) {
            return s.id() == config.id();
        })) {
        refuse(u"a source with this id exists already"_s);
        return {};
    }
    m_state->addSource(config);
    return m_state->isPaused() ? u"polls it when monitoring resumes"_s : u"polls it now"_s;
}

int SourcesService::ReplaceSources(const QString &json)
{
    QList<AnySourceConfig> list;
    try {
        list = SourcesStore::decode(json.toUtf8());
    } catch (const std::exception &error) {
        refuse(u"the sources cannot be read: "_s + QString::fromUtf8(error.what()));
        return 0;
    }
    if (list.isEmpty()) {
        // Replacing the sources with none would only lose them.
        refuse(u"the list holds no source"_s);
        return 0;
    }
    m_state->replaceSources(list);
    return int(m_state->sources().size());
}

} // namespace tw
