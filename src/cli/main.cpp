#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tidewatch-cli"));
    QTextStream(stdout) << "usage: tidewatch-cli COMMAND\n";
    return 0;
}
