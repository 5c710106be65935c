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

Q_SIGNALS:
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace tw
