#include "NamedIconEngine.h"

namespace tw {

NamedIconEngine::NamedIconEngine(QString name, QIcon pictures)
    : m_name(std::move(name))
    , m_pictures(std::move(pictures))
{ }

void NamedIconEngine::paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state)
{
    m_pictures.paint(painter, rect, Qt::AlignCenter, mode, state);
}

QPixmap NamedIconEngine::pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state)
{
    return m_pictures.pixmap(size, mode, state);
}

QSize NamedIconEngine::actualSize(const QSize &size, QIcon::Mode mode, QIcon::State state)
{
    return m_pictures.actualSize(size, mode, state);
}

QList<QSize> NamedIconEngine::availableSizes(QIcon::Mode mode, QIcon::State state)
{
    return m_pictures.availableSizes(mode, state);
}

} // namespace tw
