#include "kit/providers/JSONPathEvaluator.h"

#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

class JSONPathEvaluatorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void evaluate_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("text"); // null: nothing
        QTest::newRow("nested key") << u"a.b"_s << QByteArray("{\"a\":{\"b\":1}}") << u"1"_s;
        QTest::newRow("index into top-level array") << u"0.name"_s << QByteArray("[{\"name\":\"x\"}]") << u"x"_s;
        QTest::newRow("negative index") << u"items.-1"_s << QByteArray("{\"items\":[1]}") << QString();
        QTest::newRow("index past the end") << u"items.1"_s << QByteArray("{\"items\":[1]}") << QString();
        QTest::newRow("through null") << u"a.b"_s << QByteArray("{\"a\":null}") << QString();
        QTest::newRow("null") << u"a"_s << QByteArray("{\"a\":null}") << QString();
        QTest::newRow("object does not print") << u"a"_s << QByteArray("{\"a\":{\"b\":1}}") << QString();
        QTest::newRow("boolean") << u"a"_s << QByteArray("{\"a\":true}") << u"true"_s;
        QTest::newRow("fraction") << u"a"_s << QByteArray("{\"a\":1.5}") << u"1.5"_s;
        QTest::newRow("whole number") << u"a"_s << QByteArray("{\"a\":42.0}") << u"42"_s;
        QTest::newRow("empty path on an object") << QString() << QByteArray("{\"a\":1}") << QString();
        QTest::newRow("bare number body") << QString() << QByteArray("42") << QString();
        QTest::newRow("extra dots") << u".a..b."_s << QByteArray("{\"a\":{\"b\":\"v\"}}") << u"v"_s;
        QTest::newRow("numeric key is a key") << u"a.0"_s << QByteArray("{\"a\":{\"0\":\"k\"}}") << u"k"_s;
        QTest::newRow("plus sign index") << u"a.+0"_s << QByteArray("{\"a\":[\"p\"]}") << u"p"_s;
        QTest::newRow("not JSON") << u"a"_s << QByteArray("<html>") << QString();
    }
    void evaluate()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        QFETCH(QString, text);
        QCOMPARE(JSONPathEvaluator::evaluate(path, body), text.isNull() ? std::nullopt : std::optional(text));
    }
};

QTEST_GUILESS_MAIN(JSONPathEvaluatorTest)
#include "JSONPathEvaluatorTest.moc"
