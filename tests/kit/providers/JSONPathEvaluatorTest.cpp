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
        QTest::newRow("10^15 without an exponent") << u"a"_s << QByteArray(R"({"a":1e15})") << u"1000000000000000"_s;
        QTest::newRow("2^53") << u"a"_s << QByteArray(R"({"a":9007199254740992})") << u"9007199254740992"_s;
        QTest::newRow("above 2^53, as written")
            << u"a.b"_s << QByteArray(R"({"a":{"b":9007199254740993}})") << u"9007199254740993"_s;
        QTest::newRow("beyond 64 bits, as written")
            << u"a"_s << QByteArray(R"({"a":123456789012345678901})") << u"123456789012345678901"_s;
        QTest::newRow("negative, as written")
            << u"a"_s << QByteArray(R"({"a":-9007199254740995})") << u"-9007199254740995"_s;
        QTest::newRow("as written, past strings and siblings")
            << u"list.1.id"_s
            << QByteArray("{\"x\":\"a\\\"}{[\",\"list\":[ {\"id\":1}, {\"n\":[1,{\"id\":2}], \"i\\u0064\" : "
                          "18446744073709551617 } ]}")
            << u"18446744073709551617"_s;
        QTest::newRow("large with an exponent") << u"a"_s << QByteArray(R"({"a":1e20})") << u"100000000000000000000"_s;
        QTest::newRow("too large for digits") << u"a"_s << QByteArray(R"({"a":-1e21})") << u"-1e+21"_s;
        QTest::newRow("large fraction") << u"a"_s << QByteArray(R"({"a":12345678901234567.5})")
                                        << u"12345678901234568"_s;
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
