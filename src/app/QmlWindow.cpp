#include "QmlWindow.h"

#include "app/Logging.h"
#include "app/ReturnActivatesButtons.h"

#include <QIcon>
#include <QQmlEngine>
#include <QQuickView>

using namespace Qt::StringLiterals;

namespace tw {

QmlWindow::QmlWindow(Options options, std::function<QQmlEngine *()> engine, QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
    , m_engine(std::move(engine))
{ }

QmlWindow::~QmlWindow() = default;

void QmlWindow::create()
{
    m_view = std::make_unique<QQuickView>(m_engine(), nullptr);
    m_view->setTitle(m_options.title);
    m_view->setIcon(QIcon(u":/icons/server.svg"_s));
    m_view->setResizeMode(QQuickView::SizeRootObjectToView);
    m_view->setMinimumSize(m_options.size);
    m_view->setMaximumSize(m_options.size);
    m_view->resize(m_options.size);
    QVariantMap properties = m_options.properties;
    properties.insert(u"hostWindow"_s, QVariant::fromValue(this));
    m_view->setInitialProperties(properties);
    m_view->setSource(m_options.source);
    ReturnActivatesButtons::install(m_view.get());
    if (m_view->status() == QQuickView::Error) {
        for (const auto &error : m_view->errors())
            qCWarning(logging::views, "%s", qUtf8Printable(error.toString()));
    }
    connect(m_view.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (visible)
            Q_EMIT shown();
        else
            Q_EMIT hidden();
    });
    connect(m_view.get(), &QWindow::activeChanged, this, [this] {
        if (m_view->isActive())
            Q_EMIT activated();
    });
}

void QmlWindow::show()
{
    if (!m_view)
        create();
    m_view->show();
    m_view->raise();
    m_view->requestActivate();
}

void QmlWindow::close()
{
    if (m_view)
        m_view->hide();
}

void QmlWindow::release()
{
    if (m_view && !m_view->isVisible())
        m_view.reset();
}

bool QmlWindow::isVisible() const
{
    return m_view && m_view->isVisible();
}

} // namespace tw
