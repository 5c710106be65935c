#include "kit/model/TCPPortConfig.h"
#include "support/CliProcess.h"
#include "support/XInput.h"

#include <QImage>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// Counts the pixels of the docked icon close to `colour`: the status dot is the only saturated
// part of the picture.
int pixelsNear(const QImage &image, const QColor &colour)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (std::abs(pixel.red() - colour.red()) + std::abs(pixel.green() - colour.green())
                    + std::abs(pixel.blue() - colour.blue())
                < 60)
                ++count;
        }
    }
    return count;
}

} // namespace

// Starts the real program inside the test session's X server and tray, and reads its icon off the
// screen as a user would see it.
class TrayIntegrationTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QTcpServer m_listener;
    QProcess m_app;
    QString m_window;
    QUuid m_source = QUuid::createUuid();

    QImage grabIcon()
    {
        QProcess import;
        import.start(u"import"_s, {u"-window"_s, m_window, u"png:-"_s});
        import.waitForFinished(5000);
        return QImage::fromData(import.readAllStandardOutput(), "PNG");
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(qEnvironmentVariableIsSet("DISPLAY"), "needs the X server of scripts/with-session");
        QVERIFY(m_home.isValid());
        QVERIFY(m_listener.listen(QHostAddress::LocalHost));
        TCPPortConfig config(m_source, u"Local port"_s, u"127.0.0.1"_s, m_listener.serverPort());
        config.pollInterval = 5;
        QVERIFY(startApplication(m_app, m_home.path(), {config}));
    }

    void iconIsDockedInTheTray()
    {
        // The docked icon is a window of ours reparented into the tray's panel.
        const QString pid = QString::number(m_app.processId());
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                QString windows;
                XInput::run({u"search"_s, u"--pid"_s, pid}, &windows);
                for (const QString &window : windows.split(u'\n')) {
                    QString geometry;
                    XInput::run({u"getwindowgeometry"_s, window}, &geometry);
                    if (!window.isEmpty() && geometry.contains(u"Geometry:"_s) && !geometry.contains(u"1x1"_s)) {
                        m_window = window;
                        return true;
                    }
                }
                return false;
            }(),
            10000);
    }

    void iconColourFollowsTheEstate()
    {
        QVERIFY(!m_window.isEmpty());
        const QColor green(0x30, 0xb8, 0x4f);
        const QColor red(0xe5, 0x39, 0x35);
        QTRY_VERIFY_WITH_TIMEOUT(pixelsNear(grabIcon(), green) > 4, 10000);
        QCOMPARE(pixelsNear(grabIcon(), red), 0);
        // Closing the port turns the check down at the next poll, five seconds later at most.
        m_listener.close();
        QTRY_VERIFY_WITH_TIMEOUT(pixelsNear(grabIcon(), red) > 4, 12000);
        QCOMPARE(pixelsNear(grabIcon(), green), 0);
    }

    void cleanupTestCase()
    {
        if (m_app.state() != QProcess::NotRunning) {
            m_app.kill();
            m_app.waitForFinished(2000);
        }
    }
};

QTEST_GUILESS_MAIN(TrayIntegrationTest)
#include "TrayIntegrationTest.moc"
