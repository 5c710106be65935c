#include "app/LoginItem.h"

#include "support/Files.h"
#include "support/TestData.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
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
        return u"desktop-file-validate did not finish"_s;
    const QString output = QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
    return process.exitCode() == 0 && !output.contains(u"error"_s) ? QString() : output;
}

// Reads the Exec value back the way a desktop's launcher does: undo the string escapes, then split
// one quoted argument.
QString programOf(const QByteArray &entry)
{
    QString exec;
    for (const QByteArray &line : entry.split('\n')) {
        if (line.startsWith("Exec="))
            exec = QString::fromUtf8(line.mid(5));
    }
    QString unescaped;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        if (exec[i] == u'\\' && i + 1 < exec.size())
            ++i;
        unescaped += exec[i];
    }
    unescaped.replace(u"%%"_s, u"%"_s);
    if (!unescaped.startsWith(u'"'))
        return unescaped;
    QString program;
    for (qsizetype i = 1; i < unescaped.size() - 1; ++i) {
        if (unescaped[i] == u'\\')
            ++i;
        program += unescaped[i];
    }
    return program;
}

} // namespace

class LoginItemTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(u"desktop-file-validate"_s).isEmpty())
            QFAIL("desktop-file-validate is missing: run scripts/bootstrap (Debian desktop-file-utils)");
    }

    void turningOnWritesAValidEntryAndOffRemovesIt_data()
    {
        QTest::addColumn<QString>("executable");
        QTest::newRow("plain path") << u"/usr/bin/tidewatch"_s;
        QTest::newRow("space") << u"/opt/Tide Watch/tidewatch"_s;
        QTest::newRow("shell characters") << u"/home/a$b/\"odd\"/`x`/back\\slash/tidewatch"_s;
        QTest::newRow("percent") << u"/opt/100%/tidewatch"_s;
    }
    void turningOnWritesAValidEntryAndOffRemovesIt()
    {
        QFETCH(QString, executable);
        QTemporaryDir dir;
        const LoginItem item(dir.filePath(u"config/autostart/tidewatch.desktop"_s), executable);
        QCOMPARE(item.status(), LoginItem::Status::NotRegistered);

        item.registerItem();
        QCOMPARE(item.status(), LoginItem::Status::Enabled);
        QCOMPARE(validate(item.path()), QString());
        QCOMPARE(programOf(contents(item.path())), executable);

        item.registerItem(); // again: replaces, does not fail
        item.unregisterItem();
        QVERIFY(!QFile::exists(item.path()));
        QCOMPARE(item.status(), LoginItem::Status::NotRegistered);
        item.unregisterItem(); // nothing there: still fine
    }

    void entryDisabledInTheDesktopCountsAsOff_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("hidden") << QByteArray("Hidden=true") << false;
        QTest::newRow("gnome switch off") << QByteArray("X-GNOME-Autostart-enabled=false") << false;
        QTest::newRow("nothing special") << QByteArray("Comment=mine") << true;
    }
    void entryDisabledInTheDesktopCountsAsOff()
    {
        QTemporaryDir dir;
        const LoginItem item(dir.filePath(u"tidewatch.desktop"_s), u"/usr/bin/tidewatch"_s);
        put(item.path(),
            "[Desktop Entry]\nType=Application\nName=Tidewatch\nExec=tidewatch\n" + TW_DATA(QByteArray, line) + "\n");
        QCOMPARE(item.status() == LoginItem::Status::Enabled, TW_DATA(bool, enabled));
    }

    void switchAsksOnlyForWhatIsMissing_data()
    {
        QTest::addColumn<LoginItem::Status>("status");
        QTest::addColumn<bool>("on");
        QTest::addColumn<LoginItem::Action>("action");
        QTest::newRow("enabled, on") << LoginItem::Status::Enabled << true << LoginItem::Action::None;
        QTest::newRow("enabled, off") << LoginItem::Status::Enabled << false << LoginItem::Action::Unregister;
        QTest::newRow("absent, on") << LoginItem::Status::NotRegistered << true << LoginItem::Action::Register;
        QTest::newRow("absent, off") << LoginItem::Status::NotRegistered << false << LoginItem::Action::None;
    }
    void switchAsksOnlyForWhatIsMissing()
    {
        QCOMPARE(LoginItem::actionFor(TW_DATA(LoginItem::Status, status), TW_DATA(bool, on)),
                 TW_DATA(LoginItem::Action, action));
    }

    void pathFollowsTheConfigHome_data()
    {
        QTest::addColumn<QByteArray>("configHome");
        QTest::addColumn<QString>("expected");
        QTest::newRow("set") << QByteArray("/tmp/cfg") << u"/tmp/cfg/autostart/tidewatch.desktop"_s;
        QTest::newRow("unset") << QByteArray() << QDir::homePath() + u"/.config/autostart/tidewatch.desktop"_s;
        QTest::newRow("relative is ignored")
            << QByteArray("cfg") << QDir::homePath() + u"/.config/autostart/tidewatch.desktop"_s;
    }
    void pathFollowsTheConfigHome()
    {
        const QByteArray saved = qgetenv("XDG_CONFIG_HOME");
        const QByteArray value = TW_DATA(QByteArray, configHome);
        if (value.isEmpty())
            qunsetenv("XDG_CONFIG_HOME");
        else
            qputenv("XDG_CONFIG_HOME", value);
        const QString path = LoginItem::defaultPath();
        if (saved.isEmpty())
            qunsetenv("XDG_CONFIG_HOME");
        else
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
};

QTEST_GUILESS_MAIN(LoginItemTest)
#include "LoginItemTest.moc"
