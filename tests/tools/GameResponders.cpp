// tw_game_responders [JAVA BEDROCK VALHEIM RUST CS2]: local game servers on 127.0.0.1 answering with
// fixed replies until killed — a Minecraft Java status responder on TCP, a Bedrock responder and
// three Steam query responders on UDP (a port of 0 picks a free one). For checking the responders
// against other clients by hand, for trying tidewatch-cli check, and for the query benchmark.
#include "support/A2SResponder.h"
#include "support/MinecraftResponder.h"
#include "support/RakNetResponder.h"

#include <QCoreApplication>
#include <QTextStream>

using tw::test::A2SResponder;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const auto port = [&arguments](int at) {
        return arguments.value(at).toUShort();
    };
    tw::test::MinecraftResponder java(port(1));
    java.replyWith(
        R"({"version":{"name":"Paper 1.21.4","protocol":769},)"
        R"("players":{"max":20,"online":2,"sample":[{"name":"Alex","id":"4566e69f-c907-48ee-8d71-d7ba5aa00d20"},)"
        R"({"name":"Noor","id":"4566e69f-c907-48ee-8d71-d7ba5aa00d21"}]},"description":{"text":"Tidewatch test"}})");
    tw::test::RakNetResponder bedrock(port(2));
    bedrock.replyWith("MCPE;Tidewatch test;712;1.21.2;3;10;1234567890;world;Survival;1;19132;19133;");

    A2SResponder valheim(port(3));
    valheim.setInfo(A2SResponder::valheimInfo());
    valheim.setPlayers({{"Ragnar", 0, 1800.0f}, {"Freydis", 0, 620.5f}, {"Leif", 0, 30.0f}});
    // Rust and Counter-Strike 2 ask for a challenge first, as the real servers do.
    A2SResponder rust(port(4));
    rust.setChallenge(A2SResponder::Challenge::Once);
    rust.setInfo(A2SResponder::rustInfo());
    rust.setPlayers({{"Alex", 41, 3600.0f}, {"Noor", 17, 1200.0f}, {"Sam", 3, 95.5f}});
    A2SResponder cs2(port(5));
    cs2.setChallenge(A2SResponder::Challenge::Once);
    cs2.setInfo(A2SResponder::cs2Info());
    cs2.setPlayers(A2SResponder::cs2Players());

    QTextStream(stdout) << "java " << java.port() << "\nbedrock " << bedrock.port() << "\nvalheim " << valheim.port()
                        << "\nrust " << rust.port() << "\ncs2 " << cs2.port() << Qt::endl;
    return app.exec();
}
