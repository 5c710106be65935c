#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class QJSEngine;
class QQmlEngine;

namespace tw {

// The desktop's colours as the views use them, taken from the application palette so that light and
// dark themes both read well, and followed when the user switches theme.
class Theme : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QColor text READ text NOTIFY changed)
    Q_PROPERTY(QColor secondary READ secondary NOTIFY changed)
    Q_PROPERTY(QColor window READ window NOTIFY changed)
    Q_PROPERTY(QColor hairline READ hairline NOTIFY changed)
    Q_PROPERTY(QColor cardFill READ cardFill NOTIFY changed)
    Q_PROPERTY(bool dark READ dark NOTIFY changed)
    // The fixed colours, the same in light and dark.
    Q_PROPERTY(QColor warning READ warning CONSTANT)
    Q_PROPERTY(QColor confirmation READ confirmation CONSTANT)
    Q_PROPERTY(QColor formError READ formError CONSTANT)
    Q_PROPERTY(QColor formPassed READ formPassed CONSTANT)
    Q_PROPERTY(QColor scrim READ scrim CONSTANT)
    Q_PROPERTY(QColor noStatus READ noStatus CONSTANT)

public:
    explicit Theme(QObject *parent = nullptr);
    // The views' theme is the one their engine was made with.
    static Theme *create(QQmlEngine *engine, QJSEngine *);

    QColor text() const;
    QColor secondary() const;
    QColor window() const;
    // The text colour at 15 %, for card outlines.
    QColor hairline() const;
    // The text colour at 4 %.
    QColor cardFill() const;
    bool dark() const;
    // Something in the settings or the welcome window the user should act on.
    static QColor warning() { return {0xE5, 0x48, 0x4D}; }
    // Something the welcome window has done.
    static QColor confirmation() { return {0x30, 0xA4, 0x6C}; }
    // What the source sheet says of the form and of a test that failed, and of a test that passed.
    static QColor formError() { return {0xD9, 0x30, 0x25}; }
    static QColor formPassed() { return {0x34, 0xA8, 0x53}; }
    // Dims the window behind an alert.
    static QColor scrim() { return QColor::fromRgbF(0, 0, 0, 0.35f); }
    // A status dot before it has a status.
    static QColor noStatus() { return {0x80, 0x80, 0x80}; }

Q_SIGNALS:
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace tw
