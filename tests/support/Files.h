#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace tw::test {

// The bytes of a file, or none when it cannot be read.
inline QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Replaces a file by `bytes`, making its folder if need be, and fails the test when it cannot.
inline void put(const QString &path, const QByteArray &bytes)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

// A credentials file as the command line accepts it: readable by its owner alone.
inline void putPrivate(const QString &path, const QByteArray &bytes)
{
    put(path, bytes);
    QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
}

// A session bus configuration, written into `folder`, that listens there and activates nothing:
// neither a keyring nor a prompt that would unlock one. Returns its path.
inline QString writeBusConfig(const QString &folder)
{
    const QString path = folder + QStringLiteral("/bus.conf");
    put(path,
        QStringLiteral("<busconfig><type>session</type><listen>unix:tmpdir=%1</listen><policy context=\"default\">"
                       "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                       "<allow own=\"*\"/></policy></busconfig>")
            .arg(folder)
            .toUtf8());
    return path;
}

} // namespace tw::test
