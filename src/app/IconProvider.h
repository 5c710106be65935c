#pragma once

#include <QQuickImageProvider>

namespace tw {

// Serves the vendored line icons to QML by the symbol names the views use ("server.rack", "gear",
// …), drawn in any colour: "image://icon/gear?color=#8e8e93". The icons are stroked with
// `currentColor`, which is replaced before rendering so they follow the theme and the accent.
class IconProvider : public QQuickImageProvider
{
public:
    IconProvider();

    // The vendored file for a symbol name; empty for a name the table does not know.
    static QString fileFor(const QString &symbol);

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;
};

} // namespace tw
