#include "IconProvider.h"

#include "app/Logging.h"

#include <QColor>
#include <QFile>
#include <QHash>
#include <QPainter>
#include <QSvgRenderer>
#include <QUrlQuery>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

const QHash<QString, QString> &symbolTable()
{
    static const QHash<QString, QString> table{
        {u"server.rack"_s, u"server"_s},
        {u"waveform.path.ecg"_s, u"activity"_s},
        {u"gear"_s, u"settings"_s},
        {u"pause"_s, u"pause"_s},
        {u"play"_s, u"play"_s},
        {u"power"_s, u"power"_s},
        {u"arrow.clockwise"_s, u"rotate-cw"_s},
        {u"thermometer.medium"_s, u"thermometer"_s},
        {u"chevron.right"_s, u"chevron-right"_s},
        {u"chevron.down"_s, u"chevron-down"_s},
        {u"questionmark.circle"_s, u"circle-help"_s},
        {u"plus"_s, u"plus"_s},
        {u"plus.circle"_s, u"circle-plus"_s},
        {u"bell"_s, u"bell"_s},
        {u"bell.badge"_s, u"bell-dot"_s},
        {u"bell.slash"_s, u"bell-off"_s},
        {u"checkmark.circle.fill"_s, u"circle-check"_s},
        {u"line.3.horizontal"_s, u"grip-horizontal"_s},
        {u"trash"_s, u"trash-2"_s},
        {u"eye"_s, u"eye"_s},
        {u"eye.slash"_s, u"eye-off"_s},
        {u"cpu"_s, u"cpu"_s},
        {u"gamecontroller"_s, u"gamepad-2"_s},
        {u"heart.text.square"_s, u"heart-pulse"_s},
        {u"globe"_s, u"globe"_s},
        {u"network"_s, u"plug"_s},
        {u"curlybraces"_s, u"braces"_s},
        {u"xmark"_s, u"x"_s},
        {u"gauge.with.dots.needle.33percent"_s, u"gauge"_s},
        {u"checkmark.seal"_s, u"badge-check"_s},
        {u"cube"_s, u"box"_s},
        {u"chevron.left"_s, u"chevron-left"_s},
        {u"magnifyingglass"_s, u"search"_s},
        {u"xmark.circle"_s, u"circle-x"_s},
        {u"pencil"_s, u"pencil"_s},
        {u"wifi.slash"_s, u"wifi-off"_s},
        {u"dot.radiowaves.left.and.right"_s, u"radar"_s},
        {u"signpost.right"_s, u"signpost"_s},
        {u"lock.shield"_s, u"shield-check"_s},
        {u"clock.arrow.circlepath"_s, u"history"_s},
    };
    return table;
}

} // namespace

IconProvider::IconProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{ }

QString IconProvider::fileFor(const QString &symbol)
{
    const QString name = symbolTable().value(symbol);
    return name.isEmpty() ? QString() : u":/icons/"_s + name + u".svg"_s;
}

QImage IconProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    const qsizetype question = id.indexOf(u'?');
    const QString symbol = id.left(question);
    const QUrlQuery query(question < 0 ? QString() : id.mid(question + 1));
    QColor colour(query.queryItemValue(u"color"_s, QUrl::FullyDecoded));
    if (!colour.isValid())
        colour = Qt::gray;

    const QSize target(requestedSize.width() > 0 ? requestedSize.width() : 24,
                       requestedSize.height() > 0 ? requestedSize.height() : 24);
    if (size)
        *size = target;
    QImage image(target, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);

    QFile file(fileFor(symbol));
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(logging::views, "No icon for the symbol %s", qUtf8Printable(symbol));
        return image;
    }
    QByteArray svg = file.readAll();
    svg.replace("currentColor", colour.name(QColor::HexRgb).toLatin1());
    QSvgRenderer renderer(svg);
    QPainter painter(&image);
    painter.setOpacity(colour.alphaF());
    renderer.render(&painter);
    return image;
}

} // namespace tw
