#include "kit/transport/TransportError.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

class TransportErrorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void socketErrors_data()
    {
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("text");
        QTest::newRow("timeout") << int(QAbstractSocket::SocketTimeoutError) << u"timed out"_s;
        QTest::newRow("refused") << int(QAbstractSocket::ConnectionRefusedError) << u"connection refused"_s;
        QTest::newRow("no host") << int(QAbstractSocket::HostNotFoundError) << u"host not found"_s;
        QTest::newRow("no route") << int(QAbstractSocket::NetworkError) << u"host unreachable"_s;
        QTest::newRow("other keeps its words") << int(QAbstractSocket::SocketAccessError) << u"its own words"_s;
    }
    void socketErrors()
    {
        QFETCH(int, error);
        QFETCH(QString, text);
        const ProviderError classified =
            TransportError::classify(QAbstractSocket::SocketError(error), u"its own words"_s);
        QCOMPARE(classified, ProviderError::upstream(text));
    }

    void networkErrors_data()
    {
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("text");
        QTest::newRow("timeout") << int(QNetworkReply::TimeoutError) << u"timed out"_s;
        QTest::newRow("refused") << int(QNetworkReply::ConnectionRefusedError) << u"connection refused"_s;
        QTest::newRow("no host") << int(QNetworkReply::HostNotFoundError) << u"host not found"_s;
        QTest::newRow("lost") << int(QNetworkReply::TemporaryNetworkFailureError) << u"host unreachable"_s;
        QTest::newRow("closed mid-exchange") << int(QNetworkReply::RemoteHostClosedError) << u"host unreachable"_s;
        QTest::newRow("tls keeps its words") << int(QNetworkReply::SslHandshakeFailedError) << u"its own words"_s;
    }
    void networkErrors()
    {
        QFETCH(int, error);
        QFETCH(QString, text);
        QCOMPARE(TransportError::classify(QNetworkReply::NetworkError(error), u"its own words"_s),
                 ProviderError::upstream(text));
    }
};

QTEST_GUILESS_MAIN(TransportErrorTest)
#include "TransportErrorTest.moc"
