// Renders the scalable icon at the fixed sizes of the hicolor theme, for panels and menus that do
// not read SVG. usage: tw_render_icons ICON.svg OUTPUT_DIR SIZE...
// Writes OUTPUT_DIR/<size>x<size>/apps/<icon name>.png.
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <QTextStream>

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    QTextStream err(stderr);
    if (arguments.size() < 3) {
        err << "usage: tw_render_icons ICON.svg OUTPUT_DIR SIZE...\n";
        return 2;
    }
    const QString source = arguments.takeFirst();
    const QString output = arguments.takeFirst();
    QSvgRenderer renderer(source);
    if (!renderer.isValid()) {
        err << "tw_render_icons: cannot read " << source << '\n';
        return 1;
    }
    const QString name = QFileInfo(source).completeBaseName() + QStringLiteral(".png");
    for (const QString &text : std::as_const(arguments)) {
        bool ok = false;
        const int size = text.toInt(&ok);
        if (!ok || size < 8 || size > 1024) {
            err << "tw_render_icons: bad size " << text << '\n';
            return 2;
        }
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();
        const QString folder = QStringLiteral("%1/%2x%2/apps").arg(output).arg(size);
        if (!QDir().mkpath(folder) || !image.save(folder + u'/' + name)) {
            err << "tw_render_icons: cannot write " << folder << '/' << name << '\n';
            return 1;
        }
    }
    return 0;
}
