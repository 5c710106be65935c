#pragma once

#include <QIcon>
#include <QIconEngine>

namespace tw {

// An icon that draws its own pictures yet answers to a theme name. A StatusNotifierItem host reads
// the name and draws the theme's icon (a symbolic one takes the panel's colours); hosts without
// the name in their theme, and XEmbed trays, use the pictures.
class NamedIconEngine : public QIconEngine
{
public:
    NamedIconEngine(QString name, QIcon pictures);

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    QSize actualSize(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override;
    QString iconName() override { return m_name; }
    bool isNull() override { return m_pictures.isNull(); }
    QString key() const override { return QStringLiteral("tw-named"); }
    QIconEngine *clone() const override { return new NamedIconEngine(m_name, m_pictures); }

private:
    QString m_name;
    QIcon m_pictures;
};

} // namespace tw
