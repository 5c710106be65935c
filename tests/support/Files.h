#pragma once

#include <QFile>
#include <QTest>

namespace tw::test {

// The bytes of a file, or none when it cannot be read.
inline QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Replaces a file by `bytes`, failing the test when it cannot.
inline void put(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

} // namespace tw::test
