#include "PopoverWindow.h"

#include "app/Logging.h"
#include "app/PopoverController.h"
#include "app/ReturnActivatesButtons.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQmlEngine>
#include <QQuickView>
#include <QScreen>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// Wayland leaves a window's place to the compositor, and a tiling one (sway) would stretch the
// popover over a whole tile. A toplevel whose minimum and maximum sizes agree is a dialog to them,
// and floats at its own size; the bounds follow the view as its content grows and shrinks.
void pinSize(QWindow *window)
{
    const QSize size = window->size();
    if (size.width() > window->maximumWidth() || size.height() > window->maximumHeight()) {
        window->setMaximumSize(size);
        window->setMinimumSize(size);
    } else {
        window->setMinimumSize(size);
        window->setMaximumSize(size);
    }
}

} // namespace

PopoverWindow::PopoverWindow(PopoverController *controller, std::function<QQmlEngine *()> engine, QObject *parent)
    : QObject(parent)
    , m_controller(controller)
    , m_engine(std::move(engine))
{
    connect(m_controller, &PopoverController::closeRequested, this, &PopoverWindow::hide);
}

PopoverWindow::~PopoverWindow() = default;

void PopoverWindow::create()
{
    m_view = std::make_unique<QQuickView>(m_engine(), nullptr);
    m_view->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    m_view->setTitle(u"Tidewatch"_s);
    m_view->setColor(Qt::transparent);
    m_view->setResizeMode(QQuickView::SizeViewToRootObject);
    m_view->setInitialProperties({{u"popover"_s, QVariant::fromValue(m_controller)}});
    m_view->setIcon(QIcon(u":/icons/server.svg"_s));
    m_view->setSource(QUrl(u"qrc:/Tidewatch/Popover.qml"_s));
    ReturnActivatesButtons::install(m_view.get());
    if (m_view->status() == QQuickView::Error) {
        for (const auto &error : m_view->errors())
            qCWarning(logging::views, "%s", qUtf8Printable(error.toString()));
    }
    if (QGuiApplication::platformName().startsWith(u"wayland"_s)) {
        pinSize(m_view.get());
        connect(m_view.get(), &QWindow::widthChanged, this, [this] { pinSize(m_view.get()); });
        connect(m_view.get(), &QWindow::heightChanged, this, [this] { pinSize(m_view.get()); });
    }
    connect(m_view.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (!visible)
            Q_EMIT hidden();
    });
    // Clicking anywhere else closes the popover, like a menu.
    connect(m_view.get(), &QWindow::activeChanged, this, [this] {
        if (m_view && !m_view->isActive() && m_view->isVisible()) {
            m_view->hide();
            m_hiddenByFocusLoss.start();
        }
    });
}

void PopoverWindow::toggle(const QRect &anchor)
{
    if (isVisible())
        hide();
    else if (!m_hiddenByFocusLoss.isValid() || m_hiddenByFocusLoss.elapsed() > 300)
        show(anchor);
}

void PopoverWindow::show(const QRect &anchor)
{
    if (!m_view)
        create();
    if (anchor.isValid()) {
        QScreen *screen = QGuiApplication::screenAt(anchor.center());
        if (!screen)
            screen = QGuiApplication::primaryScreen();
        m_view->setPosition(placement(anchor, m_view->size(), screen->availableGeometry()));
    } else {
        // Nothing to hang from (Wayland keeps the pointer to itself): centre it.
        const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
        m_view->setPosition(area.center() - QPoint(m_view->width() / 2, m_view->height() / 2));
    }
    m_view->show();
    m_view->raise();
    m_view->requestActivate();
}

void PopoverWindow::hide()
{
    if (m_view)
        m_view->hide();
}

void PopoverWindow::release()
{
    if (m_view && !m_view->isVisible())
        m_view.reset();
}

bool PopoverWindow::isVisible() const
{
    return m_view && m_view->isVisible();
}

QPoint PopoverWindow::placement(const QRect &anchor, const QSize &size, const QRect &screen)
{
    constexpr int gap = 4;
    // Centred under the icon, or above it when the panel sits at the bottom of the screen.
    int x = anchor.center().x() - size.width() / 2;
    int y = anchor.bottom() + 1 + gap;
    if (y + size.height() > screen.bottom() + 1)
        y = anchor.top() - gap - size.height();
    x = std::clamp(x, screen.left(), std::max(screen.left(), screen.right() + 1 - size.width()));
    y = std::clamp(y, screen.top(), std::max(screen.top(), screen.bottom() + 1 - size.height()));
    return {x, y};
}

} // namespace tw
