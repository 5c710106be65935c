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

} // namespace tw::test
