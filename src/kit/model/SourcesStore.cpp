#include "SourcesStore.h"

#include "kit/model/Dependencies.h"
#include "kit/model/JSONFileStore.h"
#include "kit/model/JsonRead.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>

namespace tw::SourcesStore {

namespace {

template<typename Config>
void renameCredential(Config &config, std::optional<QString> Config::*field, AnySourceConfig::Kind kind)
{
    if (config.*field)
        config.*field = AnySourceConfig::credentialName(kind, config.id);
}

AnySourceConfig withNewIdentity(const AnySourceConfig &source)
{
    AnySourceConfig copy = source;
    std::visit(
        [](auto &config) {
            using Config = std::decay_t<decltype(config)>;
            config.id = QUuid::createUuid();
            if constexpr (std::is_same_v<Config, KumaConfig>)
                renameCredential(config, &KumaConfig::passwordRef, AnySourceConfig::Kind::Kuma);
            else if constexpr (std::is_same_v<Config, BeszelConfig>)
                config.tokenRef = AnySourceConfig::credentialName(AnySourceConfig::Kind::Beszel, config.id);
            else if constexpr (std::is_same_v<Config, GameServerConfig>)
                renameCredential(config, &GameServerConfig::credentialRef, AnySourceConfig::Kind::GameServer);
            else if constexpr (std::is_same_v<Config, JSONWidgetConfig>)
                renameCredential(config, &JSONWidgetConfig::bearerTokenRef, AnySourceConfig::Kind::JSONWidget);
        },
        copy.payload());
    return copy;
}

} // namespace

ImportError::ImportError(const QString &text)
    : std::runtime_error(text.toStdString())
{ }

QString defaultDirectory()
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    Q_ASSERT(!base.isEmpty());
    return QDir(base).filePath(QStringLiteral("Tidewatch"));
}

QString sourcesPath(const QString &directory)
{
    return QDir(directory).filePath(QStringLiteral("sources.json"));
}

QString corruptPath(const QString &directory)
{
    return QDir(directory).filePath(QStringLiteral("sources.json.corrupt"));
}

QList<AnySourceConfig> decode(const QByteArray &bytes)
{
    const QJsonDocument doc = JsonRead::document(bytes);
    if (!doc.isArray())
        throw DecodeError(QStringLiteral("Expected to decode Array but found a dictionary instead."));
    QList<AnySourceConfig> sources;
    for (const QJsonValue &element : doc.array())
        sources.append(AnySourceConfig::fromJson(element));
    // A parent that is gone, or a loop someone wrote by hand, reads as no parent.
    return Dependencies::normalized(sources);
}

QByteArray encode(const QList<AnySourceConfig> &sources)
{
    QJsonArray array;
    for (const AnySourceConfig &s : sources)
        array.append(s.toJson());
    return QJsonDocument(array).toJson(QJsonDocument::Indented);
}

QList<AnySourceConfig> load(const QString &directory)
{
    return JSONFileStore::load(sourcesPath(directory), corruptPath(directory), decode)
        .value_or(QList<AnySourceConfig>{});
}

void save(const QList<AnySourceConfig> &sources, const QString &directory)
{
    JSONFileStore::write(encode(sources), sourcesPath(directory));
}

QList<AnySourceConfig> importFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw ImportError(
            QStringLiteral("Couldn't open %1: %2").arg(QDir::toNativeSeparators(path), file.errorString()));
    const QByteArray bytes = file.read(JSONFileStore::maxFileBytes + 1);
    if (bytes.size() > JSONFileStore::maxFileBytes)
        throw ImportError(QStringLiteral("%1 is larger than 8 MiB and is not a Tidewatch sources file.")
                              .arg(QDir::toNativeSeparators(path)));
    try {
        return importBytes(bytes);
    } catch (const DecodeError &e) {
        throw ImportError(
            QStringLiteral("%1 is not a Tidewatch sources file: %2").arg(QDir::toNativeSeparators(path), e.text()));
    }
}

QList<AnySourceConfig> importBytes(const QByteArray &bytes)
{
    const QList<AnySourceConfig> decoded = decode(bytes);
    QHash<QUuid, QUuid> newIds;
    QList<AnySourceConfig> imported;
    for (const AnySourceConfig &source : std::as_const(decoded)) {
        if (newIds.contains(source.id()))
            continue;
        imported.append(withNewIdentity(source));
        newIds.insert(source.id(), imported.last().id());
    }
    // Parents follow their sources to the new ids.
    for (AnySourceConfig &source : imported) {
        std::optional<QUuid> &parent = source.common().dependsOn;
        if (parent)
            parent = newIds.value(*parent);
    }
    return Dependencies::normalized(imported);
}

} // namespace tw::SourcesStore
