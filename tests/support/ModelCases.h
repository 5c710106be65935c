#pragma once

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace tw::test {

// Fills a data table from a list of JSON objects in tests/data, one row each, named by its "row"
// key: long wire texts read better there than as C++ literals. The test reads the row from the
// column "given". A file that lost its rows fails rather than passing with none.
inline void addCaseRows(const QString &file)
{
    QTest::addColumn<QJsonObject>("given");
    QFile source(QStringLiteral(TW_TEST_DATA_DIR "/") + file);
    QVERIFY2(source.open(QIODevice::ReadOnly), qPrintable(file));
    const QJsonArray rows = QJsonDocument::fromJson(source.readAll()).array();
    QVERIFY2(!rows.isEmpty(), qPrintable(file));
    for (const QJsonValue &row : rows)
        QTest::newRow(qPrintable(row[u"row"].toString())) << row.toObject();
}

} // namespace tw::test
