#include "app/Accent.h"

#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

class AccentTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parseHex_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QColor>("expected"); // invalid for absent
        const QColor standard = QColor::fromRgb(0x8b, 0xb8, 0xe8);
        QTest::newRow("default") << u"#8BB8E8"_s << standard;
        QTest::newRow("blanks and lower case") << u"  #8bb8e8 \n"_s << standard;
        QTest::newRow("no number sign") << u"8BB8E8"_s << standard;
        QTest::newRow("short form refused") << u"#FFF"_s << QColor();
        QTest::newRow("seven digits refused") << u"#8BB8E80"_s << QColor();
        QTest::newRow("letters refused") << u"#GHIJKL"_s << QColor();
        QTest::newRow("plus sign taken") << u"#+ABCDE"_s << QColor::fromRgb(0x0a, 0xbc, 0xde);
        QTest::newRow("minus sign refused") << u"#-ABCDE"_s << QColor();
        QTest::newRow("two number signs") << u"##8BB8E8"_s << QColor();
        QTest::newRow("inner blank") << u"#8BB 8E"_s << QColor();
        QTest::newRow("black") << u"#000000"_s << QColor::fromRgb(0, 0, 0);
    }
    void parseHex()
    {
        QFETCH(QString, text);
        QFETCH(QColor, expected);
        const auto parsed = Accent::parseHex(text);
        QCOMPARE(parsed.has_value(), expected.isValid());
        if (!parsed)
            return;
        QCOMPARE((*parsed)[0], expected.red() / 255.0);
        QCOMPARE((*parsed)[1], expected.green() / 255.0);
        QCOMPARE((*parsed)[2], expected.blue() / 255.0);
    }

    void unparsableTextRendersAsTheDefault()
    {
        const QColor standard = Accent::accentColour(QString::fromLatin1(Accent::defaultHex));
        QCOMPARE(Accent::accentColour(u"#FFF"_s), standard);
        QCOMPARE(Accent::accentColour(u"teal"_s), standard);
        QCOMPARE(Accent::accentColour(u""_s), standard);
        QCOMPARE(Accent::accentColour(u"#14b8a6"_s).name(), u"#14b8a6"_s);
    }

    void onAccent_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("dark");
        QTest::newRow("white accent") << u"#FFFFFF"_s << true;
        QTest::newRow("black accent") << u"#000000"_s << false;
        QTest::newRow("default accent") << u"#8BB8E8"_s << true;
        QTest::newRow("red preset") << u"#EF4444"_s << true;
        QTest::newRow("deep blue") << u"#1E3A8A"_s << false;
        QTest::newRow("bad text uses default") << u"nope"_s << true;
    }
    void onAccent()
    {
        QFETCH(QString, text);
        QFETCH(bool, dark);
        const QColor nearBlack = QColor::fromRgbF(float(28 / 255.0), float(28 / 255.0), float(30 / 255.0));
        QCOMPARE(Accent::onAccentColour(text), dark ? nearBlack : QColor::fromRgbF(1, 1, 1));
    }

    void luminanceUsesTheLinearSegmentAtTheKnee()
    {
        QCOMPARE(Accent::relativeLuminance(1, 1, 1), 1.0);
        QCOMPARE(Accent::relativeLuminance(0, 0, 0), 0.0);
        QVERIFY(qFuzzyCompare(Accent::relativeLuminance(0.03928, 0.03928, 0.03928), 0.03928 / 12.92));
    }
};

QTEST_GUILESS_MAIN(AccentTest)
#include "AccentTest.moc"
