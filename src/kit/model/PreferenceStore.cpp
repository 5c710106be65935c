#include "PreferenceStore.h"

#include "kit/base/Logging.h"
#include "kit/model/AtomicFile.h"
#include "kit/model/FileWriteError.h"
#include "kit/model/JSONFileStore.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QSettings>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace tw {

PreferenceStore::PreferenceStore(QString path, QObject *parent)
    : QObject(parent)
    , m_path(std::move(path))
{
    AtomicFile::removeStaleTemporaries(m_path);
    m_values = readFile();
}

QString PreferenceStore::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/Tidewatch/preferences.json"_s;
}

std::shared_ptr<PreferenceStore> PreferenceStore::openDefault()
{
    const QString path = defaultPath();
    const bool fresh = !QFileInfo::exists(path);
    auto store = std::make_shared<PreferenceStore>(path);
    const QString legacyPath = QFileInfo(path).dir().filePath(u"Tidewatch.conf"_s);
    if (fresh && QFileInfo::exists(legacyPath)) {
        // Read only: QSettings writes through a QSaveFile, which empties the file on a full disk.
        const QSettings legacy(legacyPath, QSettings::IniFormat);
        for (const QString &key : legacy.allKeys())
            store->setValue(key, legacy.value(key));
    }
    return store;
}

QVariant PreferenceStore::value(const QString &key, const QVariant &fallback) const
{
    return m_values.value(key, fallback);
}

void PreferenceStore::setValue(const QString &key, const QVariant &value)
{
    // Held as the file will give it back, so a value reads the same before and after a restart.
    const QVariant stored = QJsonValue::fromVariant(value).toVariant();
    m_values.insert(key, stored);
    m_unsavedValues.insert(key, stored);
    m_unsavedRemovals.removeAll(key);
    save();
}

void PreferenceStore::remove(const QString &key)
{
    m_values.remove(key);
    m_unsavedValues.remove(key);
    if (!m_unsavedRemovals.contains(key))
        m_unsavedRemovals.append(key);
    save();
}

void PreferenceStore::reload()
{
    m_values = withUnsaved(readFile());
}

QVariantMap PreferenceStore::readFile() const
{
    const std::optional<QByteArray> bytes = JSONFileStore::readBounded(m_path);
    if (!bytes)
        return {};
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(*bytes, &error);
    if (!document.isObject()) {
        // Left in place: the next change writes a whole file, and until then nothing is lost twice.
        qCWarning(logging::storage, "Ignoring %s: %s", qUtf8Printable(m_path), qUtf8Printable(error.errorString()));
        return {};
    }
    return document.object().toVariantMap();
}

QVariantMap PreferenceStore::withUnsaved(QVariantMap values) const
{
    for (const QString &key : m_unsavedRemovals)
        values.remove(key);
    for (auto it = m_unsavedValues.cbegin(); it != m_unsavedValues.cend(); ++it)
        values.insert(it.key(), it.value());
    return values;
}

void PreferenceStore::save()
{
    const QVariantMap merged = withUnsaved(readFile());
    QString error;
    try {
        QDir().mkpath(QFileInfo(m_path).absolutePath());
        AtomicFile::write(m_path, QJsonDocument(QJsonObject::fromVariantMap(merged)).toJson(QJsonDocument::Indented));
        m_values = merged;
        m_unsavedValues.clear();
        m_unsavedRemovals.clear();
    } catch (const FileWriteError &failure) {
        error = failure.text();
        qCWarning(logging::storage, "%s", failure.what());
    }
    if (error != m_saveError) {
        m_saveError = error;
        Q_EMIT saveErrorChanged();
    }
}

} // namespace tw
