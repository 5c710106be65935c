#include "SourcesFileWatcher.h"

#include <QDir>
#include <QFileInfo>

namespace tw {

SourcesFileWatcher::SourcesFileWatcher(const QString &directory, int settleMs, QObject *parent)
    : QObject(parent)
    , m_directory(QDir(directory).absolutePath())
    , m_file(QDir(directory).absoluteFilePath(QStringLiteral("sources.json")))
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleMs);
    connect(&m_settle, &QTimer::timeout, this, &SourcesFileWatcher::changed);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &SourcesFileWatcher::noticed);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &SourcesFileWatcher::noticed);
    watchWhatExists();
}

void SourcesFileWatcher::noticed()
{
    watchWhatExists();
    m_settle.start();
}

void SourcesFileWatcher::watchWhatExists()
{
    // Re-added after every change: a replaced file drops out of the watch, and a folder made later
    // (the first save) is watched from then on. Until it exists, its parent tells of its making.
    QString folder = m_directory;
    while (!QFileInfo(folder).isDir() && QFileInfo(folder).dir().path() != folder)
        folder = QFileInfo(folder).dir().path();
    const QStringList watched = m_watcher.directories();
    for (const QString &path : watched) {
        if (path != folder)
            m_watcher.removePath(path);
    }
    if (!watched.contains(folder))
        m_watcher.addPath(folder);
    if (QFileInfo::exists(m_file) && !m_watcher.files().contains(m_file))
        m_watcher.addPath(m_file);
}

} // namespace tw
