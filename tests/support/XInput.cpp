#include "XInput.h"

#include "support/CliProcess.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace tw::test::XInput {

bool run(const QStringList &arguments, QString *output)
{
    QByteArray bytes;
    const bool ran = runTool(u"xdotool"_s, arguments, &bytes);
    if (output)
        *output = QString::fromLocal8Bit(bytes).trimmed();
    return ran;
}

bool moveTo(const QPoint &point)
{
    // Not --sync: it waits for a motion that never comes when the pointer is already there.
    return run({u"mousemove"_s, QString::number(point.x()), QString::number(point.y())});
}

bool click(const QPoint &point, int button)
{
    return moveTo(point) && run({u"click"_s, QString::number(button)});
}

bool press(const QPoint &point)
{
    return moveTo(point) && run({u"mousedown"_s, u"1"_s});
}

bool release()
{
    return run({u"mouseup"_s, u"1"_s});
}

bool wheel(const QPoint &point, int notches)
{
    return moveTo(point)
        && run({u"click"_s,
                u"--repeat"_s,
                QString::number(std::abs(notches)),
                u"--delay"_s,
                u"30"_s,
                notches > 0 ? u"5"_s : u"4"_s});
}

bool type(const QString &text)
{
    return run({u"type"_s, u"--delay"_s, u"5"_s, text});
}

bool key(const QString &keys)
{
    return run({u"key"_s, keys});
}

QStringList windowsNamed(const QString &title, qint64 pid)
{
    QString out;
    QStringList arguments{u"search"_s, u"--onlyvisible"_s};
    if (pid > 0)
        arguments << u"--pid"_s << QString::number(pid);
    arguments << u"--name"_s << u'^' + QRegularExpression::escape(title) + u'$';
    if (!run(arguments, &out))
        return {};
    return out.split(u'\n', Qt::SkipEmptyParts);
}

QRect geometry(const QString &window)
{
    QString out;
    if (!run({u"getwindowgeometry"_s, u"--shell"_s, window}, &out))
        return {};
    QHash<QString, int> values;
    for (const QString &line : out.split(u'\n'))
        values.insert(line.section(u'=', 0, 0), line.section(u'=', 1).toInt());
    return QRect(values.value(u"X"_s), values.value(u"Y"_s), values.value(u"WIDTH"_s), values.value(u"HEIGHT"_s));
}

} // namespace tw::test::XInput
