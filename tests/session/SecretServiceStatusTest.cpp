#include "kit/desktop/SecretServiceStatus.h"

#include "support/Await.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QTest>

using namespace tw;
using namespace tw::test;
using namespace Qt::StringLiterals;

// The keyring's state as the settings window reads it, from the test session's real gnome-keyring.
class SecretServiceStatusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sessionKeyringIsOpen()
    {
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        QVERIFY2(bus && bus->isServiceRegistered(u"org.freedesktop.secrets"_s),
                 "needs the Secret Service of scripts/with-session");
        SecretServiceStatus status;
        QCOMPARE(await(status.read()), SecretServiceStatus::State::Unlocked);
    }

    void noBusNoKeyring()
    {
        SecretServiceStatus status(QDBusConnection(u"not-connected"_s));
        QCOMPARE(await(status.read()), SecretServiceStatus::State::Missing);
    }
};

QTEST_GUILESS_MAIN(SecretServiceStatusTest)
#include "SecretServiceStatusTest.moc"
