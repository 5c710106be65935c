#include "SourceEditor.h"

#include "app/SourceSheetController.h"

#include <QIcon>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickView>

using namespace Qt::StringLiterals;

namespace tw {

SourceEditor::SourceEditor(AppState *state,
                           ProviderMaker makeProvider,
                           std::function<QQmlEngine *()> engine,
                           QObject *parent)
    : QObject(parent)
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
    m_view->rootContext()->setContextProperty(u"sheet"_s, m_controller);
    m_view->setSource(QUrl(u"qrc:/qml/AddSourceView.qml"_s));
    if (m_view->status() == QQuickView::Error) {
        for (const auto &error : m_view->errors())
            qWarning("%s", qUtf8Printable(error.toString()));
    }
    // Closing the window by its frame is a cancel.
    connect(m_view.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (!visible)
            Q_EMIT closed();
    });
}

void SourceEditor::add()
{
    m_controller->startAdding();
    show();
}

void SourceEditor::edit(const QUuid &id)
{
    if (m_controller->startEditing(id))
        show();
}

void SourceEditor::show()
{
    if (!m_view)
        create();
    m_view->setTitle(m_controller->editing() ? u"Edit Source"_s : u"Add Source"_s);
    m_view->show();
    m_view->raise();
    m_view->requestActivate();
}

void SourceEditor::close()
{
    if (m_view)
        m_view->hide();
}

bool SourceEditor::isVisible() const
{
    return m_view && m_view->isVisible();
}

} // namespace tw
