#include "SwaySession.h"

#include "support/CliProcess.h"

#include <QJsonArray>
#include <QJsonDocument>

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
    QByteArray bytes;
    const bool ran = runTool(program, arguments, &bytes);
    if (output)
        *output = QString::fromUtf8(bytes);
    return ran;
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
