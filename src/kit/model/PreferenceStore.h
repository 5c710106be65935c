#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

namespace tw {

// The user's preferences (switches, the accent, snoozes, quiet hours, the widget layout) as one flat
// JSON object. Every change is saved at once through AtomicFile, so a full disk or a read-only folder
// leaves the file as it was instead of empty; the change stays in memory, saveError() says why, and
// the next change tries again. A save takes in what another process (the command line's watch) saved
// since, so neither undoes the other's keys.
class PreferenceStore : public QObject
{
    Q_OBJECT
public:
    explicit PreferenceStore(QString path, QObject *parent = nullptr);

    // ~/.config/Tidewatch/preferences.json, shared by the application and the command line.
    static QString defaultPath();
    // The store at defaultPath(), first filled from the Tidewatch.conf that earlier versions wrote
    // when there is no preferences.json yet.
    static std::shared_ptr<PreferenceStore> openDefault();

    QString path() const { return m_path; }
    QVariant value(const QString &key, const QVariant &fallback = {}) const;
    bool contains(const QString &key) const { return m_values.contains(key); }

    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);
    // Takes in what other processes saved; changes not yet saved here stay on top.
    void reload();

    // "Could not save preferences.json: No space left on device", or empty once a save succeeded.
    QString saveError() const { return m_saveError; }

Q_SIGNALS:
    void saveErrorChanged();

private:
    QVariantMap readFile() const;
    QVariantMap withUnsaved(QVariantMap values) const;
    void save();

    QString m_path;
    QVariantMap m_values;
    QVariantMap m_unsavedValues;
    QStringList m_unsavedRemovals;
    QString m_saveError;
};

} // namespace tw
