#include "app/PopoverText.h"

#include "app/PopoverWindow.h"
#include "app/TidewatchApp.h"
#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

class PopoverTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void headlineAndChip_data()
    {
        QTest::addColumn<OverallStatus>("status");
        QTest::addColumn<int>("sources");
        QTest::addColumn<QString>("headline");
        QTest::addColumn<QString>("chip");
        QTest::newRow("up") << OverallStatus::Up << 3 << u"All systems up"_s << u"Healthy"_s;
        QTest::newRow("degraded") << OverallStatus::Degraded << 3 << u"Some issues"_s << u"Degraded"_s;
        QTest::newRow("down") << OverallStatus::Down << 3 << u"Systems down"_s << u"Incident"_s;
        QTest::newRow("paused, no sources") << OverallStatus::Paused << 0 << u"Monitoring paused"_s << u"Paused"_s;
        QTest::newRow("unknown, none") << OverallStatus::Unknown << 0 << u"No sources yet"_s << u"Not configured"_s;
        QTest::newRow("unknown, some") << OverallStatus::Unknown << 1 << u"No data yet"_s << u"Waiting for data"_s;
    }
    void headlineAndChip()
    {
        QFETCH(OverallStatus, status);
        QFETCH(int, sources);
        QCOMPARE(PopoverText::headline(status, sources), TW_DATA(QString, headline));
        QCOMPARE(PopoverText::chipText(status, sources), TW_DATA(QString, chip));
    }

    void relativeTime_data()
    {
        QTest::addColumn<qint64>("ageMs");
        QTest::addColumn<QString>("text");
        QTest::newRow("future") << qint64(-90'000) << u"just now"_s;
        QTest::newRow("4.9 s") << qint64(4'900) << u"just now"_s;
        QTest::newRow("5 s") << qint64(5'000) << u"5s ago"_s;
        QTest::newRow("59.9 s") << qint64(59'900) << u"59s ago"_s;
        QTest::newRow("60 s") << qint64(60'000) << u"1m ago"_s;
        QTest::newRow("3599 s") << qint64(3'599'000) << u"59m ago"_s;
        QTest::newRow("3600 s") << qint64(3'600'000) << u"1h ago"_s;
        QTest::newRow("86399 s") << qint64(86'399'000) << u"23h ago"_s;
        QTest::newRow("86400 s") << qint64(86'400'000) << u"1d ago"_s;
    }
    void relativeTime()
    {
        QFETCH(qint64, ageMs);
        const QDateTime now = QDateTime::fromSecsSinceEpoch(1800000000, Qt::UTC);
        QCOMPARE(PopoverText::relativeTime(now.addMSecs(-ageMs), now), TW_DATA(QString, text));
    }

    void ageText_data()
    {
        QTest::addColumn<qint64>("ageS");
        QTest::addColumn<QString>("text");
        QTest::newRow("clock behind") << qint64(-30) << u"under a minute old"_s;
        QTest::newRow("59 s") << qint64(59) << u"under a minute old"_s;
        QTest::newRow("60 s") << qint64(60) << u"1 min old"_s;
        QTest::newRow("5 min 59 s") << qint64(359) << u"5 min old"_s;
        QTest::newRow("3600 s") << qint64(3600) << u"1 h old"_s;
        QTest::newRow("a day") << qint64(86'400) << u"1 day old"_s;
        QTest::newRow("three days") << qint64(3 * 86'400 + 5) << u"3 days old"_s;
    }
    void ageText()
    {
        const QDateTime now = QDateTime::fromSecsSinceEpoch(1800000000, Qt::UTC);
        QCOMPARE(PopoverText::ageText(now.addSecs(-TW_DATA(qint64, ageS)), now), TW_DATA(QString, text));
    }

    void placement_data()
    {
        QTest::addColumn<QRect>("anchor");
        QTest::addColumn<QPoint>("expected");
        // A 340×200 popover on a 1000×800 screen.
        QTest::newRow("top panel, middle") << QRect(500, 0, 22, 22) << QPoint(340, 26);
        QTest::newRow("top panel, right edge") << QRect(978, 0, 22, 22) << QPoint(660, 26);
        QTest::newRow("bottom panel, opens above") << QRect(10, 778, 22, 22) << QPoint(0, 574);
    }
    void placement()
    {
        QFETCH(QRect, anchor);
        QCOMPARE(PopoverWindow::placement(anchor, QSize(340, 200), QRect(0, 0, 1000, 800)), TW_DATA(QPoint, expected));
    }

    void launchOptions_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("testHost");
        QTest::addColumn<bool>("completed");
        QTest::addColumn<bool>("opens");
        QTest::newRow("first run") << QStringList{} << false << false << true;
        QTest::newRow("completed") << QStringList{} << false << true << false;
        QTest::newRow("test host") << QStringList{} << true << false << false;
        QTest::newRow("demo sources") << QStringList{u"-uiTestDemoSources"_s} << false << false << false;
        QTest::newRow("forced over demo and completed")
            << QStringList{u"-uiTestDemoSources"_s, u"-uiTestShowOnboarding"_s} << true << true << true;
        QTest::newRow("only exact arguments count")
            << QStringList{u"--uiTestShowOnboarding"_s, u"-uiTestDemoSourcesX"_s} << false << true << false;
    }
    void launchOptions()
    {
        QFETCH(QStringList, arguments);
        const auto options = TidewatchApp::LaunchOptions::parse(arguments);
        QCOMPARE(TidewatchApp::opensOnboarding(options, TW_DATA(bool, testHost), TW_DATA(bool, completed)),
                 TW_DATA(bool, opens));
    }
};

QTEST_GUILESS_MAIN(PopoverTextTest)
#include "PopoverTextTest.moc"
