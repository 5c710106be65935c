// tw_game_responders JAVA_PORT BEDROCK_PORT: a Minecraft Java status responder on TCP and a
// Bedrock responder on UDP, both on 127.0.0.1, answering with fixed replies until killed. For
// checking the responders against other clients by hand, and for trying tidewatch-cli check.
#include "support/MinecraftResponder.h"
#include "support/RakNetResponder.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    tw::test::MinecraftResponder java(arguments.value(1).toUShort());
    java.replyWith(
        R"({"version":{"name":"Paper 1.21.4","protocol":769},)"
        R"("players":{"max":20,"online":2,"sample":[{"name":"Alex","id":"4566e69f-c907-48ee-8d71-d7ba5aa00d20"},)"
        R"({"name":"Noor","id":"4566e69f-c907-48ee-8d71-d7ba5aa00d21"}]},"description":{"text":"Tidewatch test"}})");
    tw::test::RakNetResponder bedrock(arguments.value(2).toUShort());
    bedrock.replyWith("MCPE;Tidewatch test;712;1.21.2;3;10;1234567890;world;Survival;1;19132;19133;");
    QTextStream(stdout) << "java " << java.port() << "\nbedrock " << bedrock.port() << Qt::endl;
    return app.exec();
}
