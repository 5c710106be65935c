#include "kit/transport/TransportError.h"

#include "support/TestData.h"

#include <QTest>

using namespace tw;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tw::FailureKind)

class TransportErrorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // What the user reads for each kind: rows and alerts show these words as they are.
    void texts_data()
    {
        QTest::addColumn<FailureKind>("kind");
        QTest::addColumn<QString>("text");
        QTest::newRow("timed out") << FailureKind::TimedOut << u"timed out"_s;
        QTest::newRow("refused") << FailureKind::ConnectionRefused << u"connection refused"_s;
        QTest::newRow("no host") << FailureKind::HostNotFound << u"host not found"_s;
        QTest::newRow("no route") << FailureKind::HostUnreachable << u"host unreachable"_s;
        QTest::newRow("empty datagram") << FailureKind::EmptyReply << u"empty reply"_s;
        QTest::newRow("stream ended") << FailureKind::EndOfStream << u"eof"_s;
        QTest::newRow("closed here") << FailureKind::Closed << u"closed"_s;
        QTest::newRow("shutting down") << FailureKind::ShuttingDown << u"shutting down"_s;
        QTest::newRow("other keeps its words") << FailureKind::Other << u"its own words"_s;
    }
    void texts()
    {
        QFETCH(FailureKind, kind);
        QFETCH(QString, text);
        QCOMPARE(failureText(kind, u"its own words"_s), text);
        const ProviderError error = ProviderError::failure(kind, u"its own words"_s);
        QCOMPARE(error.description(), text);
        QCOMPARE(QString::fromUtf8(error.what()), text);
    }

    // A socket's errors and the network manager's read as the same kinds.
    void classify_data()
    {
        QTest::addColumn<int>("socketError"); // -1: none of this side
        QTest::addColumn<int>("networkError");
        QTest::addColumn<FailureKind>("kind");
        QTest::newRow("timeout") << int(QAbstractSocket::SocketTimeoutError) << int(QNetworkReply::TimeoutError)
                                 << FailureKind::TimedOut;
        QTest::newRow("refused") << int(QAbstractSocket::ConnectionRefusedError)
                                 << int(QNetworkReply::ConnectionRefusedError) << FailureKind::ConnectionRefused;
        QTest::newRow("no host") << int(QAbstractSocket::HostNotFoundError) << int(QNetworkReply::HostNotFoundError)
                                 << FailureKind::HostNotFound;
        QTest::newRow("no route") << int(QAbstractSocket::NetworkError)
                                  << int(QNetworkReply::TemporaryNetworkFailureError) << FailureKind::HostUnreachable;
        QTest::newRow("closed mid-exchange")
            << -1 << int(QNetworkReply::RemoteHostClosedError) << FailureKind::HostUnreachable;
        QTest::newRow("other") << int(QAbstractSocket::SocketAccessError) << int(QNetworkReply::SslHandshakeFailedError)
                               << FailureKind::Other;
    }
    void classify()
    {
        QFETCH(int, socketError);
        const ProviderError expected = ProviderError::failure(TW_DATA(FailureKind, kind), u"its own words"_s);
        if (socketError >= 0)
            QCOMPARE(TransportError::classify(QAbstractSocket::SocketError(socketError), u"its own words"_s), expected);
        QCOMPARE(TransportError::classify(QNetworkReply::NetworkError(TW_DATA(int, networkError)), u"its own words"_s),
                 expected);
    }
};

QTEST_GUILESS_MAIN(TransportErrorTest)
#include "TransportErrorTest.moc"
