#include "SwaySession.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace tw::test::SwaySession {

namespace {

QJsonObject find(const QJsonObject &node, qint64 pid, const QString &title)
{
    if (node.value(u"pid"_s).toInteger() == pid && node.value(u"name"_s).toString() == title)
        return node;
    for (const QString &children : {u"nodes"_s, u"floating_nodes"_s}) {
        for (const QJsonValue child : node.value(children).toArray()) {
            if (QJsonObject found = find(child.toObject(), pid, title); !found.isEmpty())
                return found;
        }
    }
    return {};
}

} // namespace

bool present()
{
    return qEnvironmentVariableIsSet("WAYLAND_DISPLAY") && qEnvironmentVariableIsSet("SWAYSOCK");
}

bool run(const QString &program, const QStringList &arguments, QString *output)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished(1000);
        return false;
    }
    if (output)
        *output = QString::fromUtf8(process.readAllStandardOutput());
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QJsonObject window(qint64 pid, const QString &title)
{
    QString tree;
    if (!run(u"swaymsg"_s, {u"--raw"_s, u"--type"_s, u"get_tree"_s}, &tree))
        return {};
    return find(QJsonDocument::fromJson(tree.toUtf8()).object(), pid, title);
}

bool key(const QString &name)
{
    return run(u"wtype"_s, {u"-k"_s, name});
}

bool command(const QString &command)
{
    return run(u"swaymsg"_s, {command});
}

bool screenshot(const QString &path)
{
    return run(u"grim"_s, {path});
}

} // namespace tw::test::SwaySession
