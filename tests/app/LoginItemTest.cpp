#include "app/LoginItem.h"

#include "app/ReleaseChecker.h"
#include "kit/base/ProviderError.h"
#include "support/Await.h"
#include "support/Files.h"
#include "support/TestData.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

namespace {

// desktop-file-validate's verdict on a file: empty when it passes, its complaints otherwise.
QString validate(const QString &path)
{
    QProcess process;
    process.start(u"desktop-file-validate"_s, {path});
    if (!process.waitForFinished(20000))
        return u"desktop-file-validate did not run: scripts/bootstrap installs it (desktop-file-utils)"_s;
    const QString output = QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
    return process.exitCode() == 0 && !output.contains(u"error"_s) ? QString() : output;
}

// Reads the Exec value back the way a desktop's launcher does: undo the string escapes, then split
// one quoted argument.
QString programOf(const QByteArray &entry)
{
    static const QRegularExpression escaped(uR"(\\(.))"_s);
    QString exec;
    for (const QByteArray &line : entry.split('\n')) {
        if (line.startsWith("Exec="))
            exec = QString::fromUtf8(line.mid(5));
    }
    exec.replace(escaped, u"\\1"_s).replace(u"%%"_s, u"%"_s);
    if (exec.size() > 1 && exec.startsWith(u'"') && exec.endsWith(u'"'))
        exec = exec.mid(1, exec.size() - 2).replace(escaped, u"\\1"_s);
    return exec;
}

// Answers every request with one scripted reply, or fails as the transport would, and keeps what it
// was asked.
class ScriptedHTTPClient : public HTTPClient
{
public:
    int status = 200;
    QByteArray body;
    QList<HTTPRequest> requests;

    QCoro::Task<HTTPResult> data(HTTPRequest request, StopToken) override
    {
        requests.append(request);
        if (status == 0)
            throw ProviderError::upstream(QString::fromUtf8(body));
        HTTPResult result;
        result.body = body;
        result.response.statusCode = status;
        co_return result;
    }
};

QByteArray manifest(const QString &version, const QString &download = u"https://ostrel.dev/tidewatch.tar.gz"_s)
{
    return u"{\"version\":\"%1\",\"downloadURL\":\"%2\",\"notes\":\"ignored\"}"_s.arg(version, download).toUtf8();
}

const QUrl endpoint(u"https://ostrel.dev/downloads/tidewatch/latest.json"_s);

} // namespace

// What the app keeps up with outside itself: its entry in the desktop's autostart folder, and the
// release feed that tells it of a newer version.
class LoginItemTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void turningOnWritesAValidEntryAndOffRemovesIt_data()
    {
        QTest::addColumn<QString>("executable");
        QTest::newRow("shell characters") << u"/home/a$b/\"odd\"/`x`/back\\slash/tidewatch"_s;
        QTest::newRow("space and percent") << u"/opt/Tide Watch 100%/tidewatch"_s;
    }
    void turningOnWritesAValidEntryAndOffRemovesIt()
    {
        QFETCH(QString, executable);
        QTemporaryDir dir;
        const LoginItem item(dir.filePath(u"config/autostart/tidewatch.desktop"_s), executable);
        item.registerItem();
        QCOMPARE(item.status(), LoginItem::Status::Enabled);
        QCOMPARE(validate(item.path()), QString());
        QCOMPARE(programOf(contents(item.path())), executable);

        // Switched off in the desktop's own settings it is off; turning it on again writes it afresh.
        const QByteArray written = contents(item.path());
        for (const QByteArray &off :
             QByteArrayList{written + "Hidden=true\n", QByteArray(written).replace("enabled=true", "enabled=false")}) {
            put(item.path(), off);
            QCOMPARE(item.status(), LoginItem::Status::NotRegistered);
            item.registerItem();
            QCOMPARE(item.status(), LoginItem::Status::Enabled);
        }
        item.unregisterItem();
        QVERIFY(!QFile::exists(item.path()));
        QCOMPARE(item.status(), LoginItem::Status::NotRegistered);
        item.unregisterItem(); // nothing there: still fine
    }

    void pathFollowsTheConfigHome_data()
    {
        QTest::addColumn<QByteArray>("configHome");
        QTest::addColumn<QString>("expected");
        const QString home = QDir::homePath() + u"/.config/autostart/tidewatch.desktop"_s;
        QTest::newRow("set") << QByteArray("/tmp/cfg") << u"/tmp/cfg/autostart/tidewatch.desktop"_s;
        QTest::newRow("relative is ignored") << QByteArray("cfg") << home;
    }
    void pathFollowsTheConfigHome()
    {
        const QByteArray saved = qgetenv("XDG_CONFIG_HOME");
        qputenv("XDG_CONFIG_HOME", TW_DATA(QByteArray, configHome));
        const QString path = LoginItem::defaultPath();
        qputenv("XDG_CONFIG_HOME", saved);
        QCOMPARE(path, TW_DATA(QString, expected));
    }

    void unwritableFolderFailsWithItsPath()
    {
        QTemporaryDir dir;
        put(dir.filePath(u"autostart"_s), {}); // a file where the folder should be
        const LoginItem item(dir.filePath(u"autostart/tidewatch.desktop"_s), u"/usr/bin/tidewatch"_s);
        try {
            item.registerItem();
            QFAIL("registering succeeded");
        } catch (const LoginItem::Error &error) {
            QVERIFY2(error.text().contains(dir.filePath(u"autostart"_s)), qPrintable(error.text()));
        }
    }

    // Every check asks the endpoint once, even one that is refused: its reply is what gets refused.
    void releaseCheck_data()
    {
        QTest::addColumn<QUrl>("endpoint");
        QTest::addColumn<int>("status"); // 0: the transport fails
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("running");
        QTest::addColumn<QString>("outcome");
        const auto row = [](const char *name, const QByteArray &body, const QString &running, const QString &outcome) {
            QTest::newRow(name) << endpoint << 200 << body << running << outcome;
        };
        const QString invalid = u"invalid update manifest"_s;
        // The result names the manifest's version, never the running one.
        row("newer release", manifest(u"1.10.0"_s), u"1.9.9"_s, u"update to 1.10.0"_s);
        row("same release", manifest(u"1.2.3"_s), u"1.2.3"_s, u"up to date with 1.2.3"_s);
        row("older minor, larger patch", manifest(u"1.1.9"_s), u"1.2.0"_s, u"up to date with 1.1.9"_s);
        // A version is three whole numbers, signed or not, and nothing else.
        row("signs count", manifest(u"+1.0.0"_s), u"-1.0.0"_s, u"update to +1.0.0"_s);
        row("empty piece", manifest(u"1..3"_s), u"1.0.0"_s, invalid);
        row("blank", manifest(u"1.2. 3"_s), u"1.0.0"_s, invalid);
        row("overflow", manifest(u"1.2.99999999999999999999"_s), u"1.0.0"_s, invalid);
        row("two numbers running", manifest(u"9.0.0"_s), u"1.2"_s, invalid);
        row("http download", manifest(u"9.0.0"_s, u"http://ostrel.dev/t.tar.gz"_s), u"1.0.0"_s, invalid);
        row("download not a URL", manifest(u"9.0.0"_s, u"https://exa mple/%zz"_s), u"1.0.0"_s, invalid);
        row("not JSON", "<html>", u"1.0.0"_s, invalid);
        row("no download", "{\"version\":\"1.0.0\"}", u"1.0.0"_s, invalid);
        QTest::newRow("http endpoint") << QUrl(u"http://ostrel.dev/downloads/tidewatch/latest.json"_s) << 200
                                       << manifest(u"9.0.0"_s) << u"1.0.0"_s << invalid;
        QTest::newRow("redirect") << endpoint << 301 << QByteArray() << u"1.0.0"_s << u"HTTP 301"_s;
        // Status 0 stands for a transport that fails: its own text passes through.
        QTest::newRow("no connection") << endpoint << 0 << QByteArray("could not connect") << u"1.0.0"_s
                                       << u"could not connect"_s;
    }
    void releaseCheck()
    {
        auto client = std::make_shared<ScriptedHTTPClient>();
        client->status = TW_DATA(int, status);
        client->body = TW_DATA(QByteArray, body);
        const ReleaseChecker checker{TW_DATA(QUrl, endpoint), client};
        QString outcome;
        try {
            const ReleaseCheckResult result = await(checker.check(TW_DATA(QString, running)));
            QCOMPARE(result.manifest.downloadURL, QUrl(u"https://ostrel.dev/tidewatch.tar.gz"_s));
            const bool update = result.kind == ReleaseCheckResult::Kind::UpdateAvailable;
            outcome = (update ? u"update to "_s : u"up to date with "_s) + result.manifest.version;
        } catch (const ProviderError &error) {
            QCOMPARE(error.kind(), ProviderError::Kind::Upstream);
            outcome = error.description();
        }
        QCOMPARE(outcome, TW_DATA(QString, outcome));
        QCOMPARE(client->requests.size(), 1);
        QCOMPARE(client->requests[0].url, TW_DATA(QUrl, endpoint));
    }
};

QTEST_GUILESS_MAIN(LoginItemTest)
#include "LoginItemTest.moc"
