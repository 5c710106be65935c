#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

namespace tw {

// Says when sources.json may have changed on disk. The file and its folder are both watched: an
// atomic save replaces the file with a new one that a watch on the old file never sees, and the
// folder may not hold the file yet. A burst of changes (a save's temporary file, its rename) is
// told once, after it has settled.
class SourcesFileWatcher : public QObject
{
    Q_OBJECT
public:
    explicit SourcesFileWatcher(const QString &directory, int settleMs = 250, QObject *parent = nullptr);

Q_SIGNALS:
    void changed();

private:
    void noticed();
    void watchWhatExists();

    QFileSystemWatcher m_watcher;
    QTimer m_settle;
    QString m_directory;
    QString m_file;
};

} // namespace tw
