#include "app/RowText.h"

#include "app/TrayIconPainter.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

using OptDouble = std::optional<double>;
using OptInt = std::optional<qint64>;
Q_DECLARE_METATYPE(OptDouble)
Q_DECLARE_METATYPE(OptInt)

class RowTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void latency_data()
    {
        QTest::addColumn<QString>("prefix");
        QTest::addColumn<OptDouble>("ms");
        QTest::addColumn<QString>("text");
        QTest::newRow("plain") << QString() << OptDouble(12.9) << u"12ms"_s;
        QTest::newRow("truncated not rounded") << QString() << OptDouble(99.9) << u"99ms"_s;
        QTest::newRow("prefix") << u"Avg"_s << OptDouble(12.9) << u"Avg 12ms"_s;
        QTest::newRow("absent drops the prefix") << u"Avg"_s << OptDouble() << u"—"_s;
        QTest::newRow("below one") << QString() << OptDouble(0.4) << u"0ms"_s;
    }
    void latency()
    {
        QFETCH(QString, prefix);
        QFETCH(OptDouble, ms);
        QCOMPARE(RowText::latencyText(prefix.isNull() ? std::nullopt : std::optional(prefix), ms),
                 TW_DATA(QString, text));
    }

    void players_data()
    {
        QTest::addColumn<OptInt>("current");
        QTest::addColumn<OptInt>("max");
        QTest::addColumn<QString>("text");
        QTest::newRow("both") << OptInt(3) << OptInt(20) << u"3/20 players"_s;
        QTest::newRow("no current") << OptInt() << OptInt(20) << u"—/20 players"_s;
        QTest::newRow("no max") << OptInt(3) << OptInt() << u"3 players"_s;
        QTest::newRow("neither") << OptInt() << OptInt() << u"— players"_s;
    }
    void players()
    {
        QFETCH(OptInt, current);
        QFETCH(OptInt, max);
        QCOMPARE(RowText::playersText(current, max), TW_DATA(QString, text));
    }

    void names_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("overflow"); // the end a row keeps in view
        QTest::newRow("none") << QStringList{} << QString() << QString();
        QTest::newRow("three") << QStringList{u"A"_s, u"B"_s, u"C"_s} << u"A, B, C"_s << QString();
        QTest::newRow("four") << QStringList{u"A"_s, u"B"_s, u"C"_s, u"D"_s} << u"A, B, C +1"_s << u" +1"_s;
        QTest::newRow("five") << QStringList{u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"E"_s} << u"A, B, C +2"_s << u" +2"_s;
    }
    void names()
    {
        QFETCH(QStringList, names);
        QFETCH(QString, text);
        QCOMPARE(RowText::namesText(names), text);
        QCOMPARE(RowText::namesOverflow(names), TW_DATA(QString, overflow));
        QVERIFY(text.endsWith(RowText::namesOverflow(names)));
    }

    void gameSubtitle_data()
    {
        QTest::addColumn<bool>("online");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<QString>("subtitle"); // null for absent
        QTest::newRow("online with names") << true << QStringList{u"Ann"_s} << u"v1.20"_s << u"Ann"_s;
        QTest::newRow("online, no names") << true << QStringList{} << u"v1.20"_s << u"v1.20"_s;
        QTest::newRow("offline keeps names hidden")
            << false << QStringList{u"Ann"_s} << u"timed out"_s << u"timed out"_s;
        QTest::newRow("offline, nothing") << false << QStringList{u"Ann"_s} << QString() << QString();
    }
    void gameSubtitle()
    {
        GameServerStatus game{u"g"_s,
                              u"Game"_s,
                              TW_DATA(bool, online),
                              1,
                              10,
                              TW_DATA(QStringList, names),
                              {},
                              TW_DATA(QString, detail)};
        QFETCH(QString, subtitle);
        QCOMPARE(RowText::gameSubtitle(game), subtitle.isNull() ? std::nullopt : std::optional(subtitle));
    }

    void rings_data()
    {
        QTest::addColumn<OptDouble>("pct");
        QTest::addColumn<double>("fraction");
        QTest::addColumn<QString>("colour"); // "accent" or a status
        QTest::addColumn<QString>("text");
        QTest::newRow("absent") << OptDouble() << 0.0 << u"unknown"_s << u"—"_s;
        QTest::newRow("low") << OptDouble(12.7) << 0.127 << u"accent"_s << u"12%"_s;
        QTest::newRow("exactly 70") << OptDouble(70) << 0.7 << u"accent"_s << u"70%"_s;
        QTest::newRow("above 70") << OptDouble(70.1) << 0.701 << u"degraded"_s << u"70%"_s;
        QTest::newRow("exactly 90") << OptDouble(90) << 0.9 << u"degraded"_s << u"90%"_s;
        QTest::newRow("above 90") << OptDouble(90.1) << 0.901 << u"down"_s << u"90%"_s;
        QTest::newRow("over full") << OptDouble(120) << 1.0 << u"down"_s << u"120%"_s;
        QTest::newRow("negative") << OptDouble(-5) << 0.0 << u"accent"_s << u"-5%"_s;
    }
    void rings()
    {
        QFETCH(OptDouble, pct);
        QFETCH(QString, colour);
        const QColor accent(0x12, 0x34, 0x56);
        QVERIFY(qFuzzyCompare(1 + RowText::ringFraction(pct), 1 + TW_DATA(double, fraction)));
        QColor expected = accent;
        if (colour == u"unknown"_s)
            expected = TrayIconPainter::statusColour(OverallStatus::Unknown);
        else if (colour == u"degraded"_s)
            expected = TrayIconPainter::statusColour(OverallStatus::Degraded);
        else if (colour == u"down"_s)
            expected = TrayIconPainter::statusColour(OverallStatus::Down);
        QCOMPARE(RowText::ringColour(pct, accent), expected);
        QCOMPARE(RowText::ringText(pct), TW_DATA(QString, text));
    }

    // A Beszel agent that could not read a drive reports 0: that drive never speaks for the host.
    void hottestDrive_data()
    {
        QTest::addColumn<QList<double>>("temps");
        QTest::addColumn<QString>("text");
        QTest::newRow("no drives") << QList<double>{} << QString();
        QTest::newRow("no drive has a reading") << QList<double>{0, 0} << QString();
        QTest::newRow("hottest, truncated") << QList<double>{38, 52.6, 0} << u"52°C"_s;
        QTest::newRow("a reading below zero beats none") << QList<double>{0, -3.5} << u"-3°C"_s;
        QTest::newRow("not a number is no reading") << QList<double>{qQNaN(), 31} << u"31°C"_s;
    }
    void hottestDrive()
    {
        QList<DriveTemp> drives;
        for (const double temp : TW_DATA(QList<double>, temps))
            drives.append({u"sd"_s + QString::number(drives.size()), temp});
        QCOMPARE(RowText::hottestTempText(drives), TW_DATA(QString, text));
    }
};

QTEST_GUILESS_MAIN(RowTextTest)
#include "RowTextTest.moc"
