#include "SourceEditor.h"

#include "app/Logging.h"
#include "app/ReturnActivatesButtons.h"
#include "app/SourceSheetController.h"
#include "kit/monitor/AppState.h"

#include <QIcon>
#include <QQmlEngine>
#include <QQuickView>
#include <QScreen>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace tw {

SourceEditor::SourceEditor(AppState *state,
                           ProviderMaker makeProvider,
                           std::function<QQmlEngine *()> engine,
                           QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_controller(new SourceSheetController(state, std::move(makeProvider), this))
    , m_engine(std::move(engine))
{
    connect(m_controller, &SourceSheetController::finished, this, &SourceEditor::close);
}

SourceEditor::~SourceEditor() = default;

void SourceEditor::create()
{
    m_view = std::make_unique<QQuickView>(m_engine(), nullptr);
    m_view->setTitle(u"Add Source"_s);
    m_view->setIcon(QIcon(u":/icons/server.svg"_s));
    m_view->setResizeMode(QQuickView::SizeViewToRootObject);
    m_view->setFlags(Qt::Dialog);
    m_view->setInitialProperties(
        {{u"sheet"_s, QVariant::fromValue(m_controller)}, {u"editor"_s, QVariant::fromValue(this)}});
    m_view->setSource(QUrl(u"qrc:/Tidewatch/AddSourceView.qml"_s));
    ReturnActivatesButtons::install(m_view.get());
    if (m_view->status() == QQuickView::Error) {
        for (const auto &error : m_view->errors())
            qCWarning(logging::views, "%s", qUtf8Printable(error.toString()));
    }
    // Closing the window by its frame is a cancel.
    connect(m_view.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (!visible) {
            m_pending.reset();
            setQuestion({});
            Q_EMIT closed();
        }
    });
}

void SourceEditor::add(QWindow *parent)
{
    open({std::nullopt, parent});
}

void SourceEditor::edit(const QUuid &id, QWindow *parent)
{
    const auto &sources = m_state->sources();
    if (std::none_of(sources.cbegin(), sources.cend(), [&](const AnySourceConfig &s) { return s.id() == id; }))
        return;
    open({id, parent});
}

void SourceEditor::open(Request request)
{
    if (isVisible()) {
        const bool same = request.edit ? m_controller->editedID() == request.edit : !m_controller->editing();
        if (same || m_controller->hasChanges()) {
            // Nothing typed is dropped unasked: the open sheet comes forward, with the question when
            // another source was asked for.
            if (!same) {
                const QString now = m_controller->editing() ? u"your changes to “%1”"_s.arg(m_controller->openedName())
                                                            : u"the source you are adding"_s;
                QString next = u"add a new source"_s;
                if (request.edit) {
                    for (const AnySourceConfig &source : m_state->sources()) {
                        if (source.id() == *request.edit)
                            next = u"edit “%1”"_s.arg(source.common().displayName);
                    }
                }
                m_pending = std::move(request);
                setQuestion(u"Discard %1 and %2 instead?"_s.arg(now, next));
            }
            present();
            return;
        }
    }
    start(request);
}

void SourceEditor::start(const Request &request)
{
    m_pending.reset();
    setQuestion({});
    if (request.edit) {
        if (!m_controller->startEditing(*request.edit))
            return;
    } else {
        m_controller->startAdding();
    }
    show(request.parent);
}

void SourceEditor::keepEditing()
{
    m_pending.reset();
    setQuestion({});
}

void SourceEditor::discardChanges()
{
    if (const auto request = std::exchange(m_pending, std::nullopt))
        start(*request);
}

void SourceEditor::show(QWindow *parent)
{
    if (!m_view)
        create();
    if (m_view->transientParent() != parent) {
        // Modality and stacking are read when the window maps.
        m_view->hide();
        m_view->setTransientParent(parent);
        // The window it came from waits for the sheet, as for any dialog; other windows stay free.
        m_view->setModality(parent ? Qt::WindowModal : Qt::NonModal);
    }
    m_view->setTitle(m_controller->editing() ? u"Edit Source"_s : u"Add Source"_s);
    if (parent && !m_view->isVisible()) {
        // Centred over its window: not every window manager places a transient window, and none
        // places one under a bare X server.
        const QRect frame = parent->frameGeometry();
        QPoint at = frame.center() - QPoint(m_view->width() / 2, m_view->height() / 2);
        if (const QScreen *screen = parent->screen()) {
            const QRect area = screen->availableGeometry();
            at.setX(std::clamp(at.x(), area.left(), std::max(area.left(), area.right() + 1 - m_view->width())));
            at.setY(std::clamp(at.y(), area.top(), std::max(area.top(), area.bottom() + 1 - m_view->height())));
        }
        m_view->setPosition(at);
    }
    m_view->show();
    present();
}

void SourceEditor::present()
{
    m_view->raise();
    m_view->requestActivate();
}

void SourceEditor::close()
{
    if (m_view)
        m_view->hide();
}

void SourceEditor::release()
{
    if (m_view && !m_view->isVisible())
        m_view.reset();
}

bool SourceEditor::isVisible() const
{
    return m_view && m_view->isVisible();
}

void SourceEditor::setQuestion(const QString &text)
{
    if (m_question == text)
        return;
    m_question = text;
    Q_EMIT questionChanged();
}

} // namespace tw
