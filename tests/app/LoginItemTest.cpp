#include "app/LoginItem.h"

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

} // namespace

class LoginItemTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void turningOnWritesAValidEntryAndOffRemovesIt_data()
    {
        QTest::addColumn<QString>("executable");
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
};

QTEST_GUILESS_MAIN(LoginItemTest)
#include "LoginItemTest.moc"
