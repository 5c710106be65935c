#include "TrayController.h"

#include "app/NamedIconEngine.h"
#include "app/PopoverRows.h"
#include "app/PopoverText.h"
#include "app/TrayActivation.h"
#include "app/TrayIconPainter.h"
#include "kit/monitor/AppState.h"

#include <QCursor>
#include <QGuiApplication>
#include <QIcon>
#include <QPalette>
#include <QPixmap>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

QIcon trayIcon(OverallStatus status, bool shapes)
{
    // Panels ask for different sizes; painting each keeps the rack crisp instead of scaled.
    const QColor glyph = QGuiApplication::palette().color(QPalette::WindowText);
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64})
        icon.addPixmap(QPixmap::fromImage(TrayIconPainter::paint(status, size, glyph, shapes)));
    // Installed, the symbolic icons let the panel draw the rack in its own colours; their dot has
    // no shapes, so the painted pictures stand alone when shapes are asked for.
    const QString themed = TrayIconPainter::themeIconName(status);
    if (!shapes && QIcon::hasThemeIcon(themed))
        return QIcon(new NamedIconEngine(themed, icon));
    return icon;
}

} // namespace

TrayController::TrayController(AppState *state, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_menu(std::make_unique<QMenu>())
    , m_tray(new QSystemTrayIcon(this))
{
    TrayActivation::install();
    m_menu->addAction(u"Open Tidewatch"_s, this, &TrayController::popoverRequested);
    m_refreshAction = m_menu->addAction(u"Refresh Now"_s, m_state, &AppState::refreshAll);
    m_pauseAction = m_menu->addAction(u"Pause Monitoring"_s, m_state, &AppState::togglePaused);
    m_snoozeMenu = m_menu->addMenu(u"Snooze Notifications"_s);
    m_snoozeState = m_snoozeMenu->addAction(QString());
    m_snoozeState->setEnabled(false);
    for (const auto &[hours, label] : {std::pair{1, u"For 1 Hour"_s}, {4, u"For 4 Hours"_s}, {8, u"For 8 Hours"_s}}) {
        m_snoozeMenu->addAction(label, m_state, [state = m_state, hours = hours] { state->snoozeAll(hours * 3600); });
    }
    m_snoozeMenu->addSeparator();
    // Sources in trouble are listed when the menu opens, not at every poll.
    connect(m_snoozeMenu, &QMenu::aboutToShow, this, &TrayController::listTroubledSources);
    m_resumeNotifications = m_snoozeMenu->addAction(u"Resume Notifications"_s, m_state, [state = m_state] {
        state->endSnooze(std::nullopt);
    });
    m_menu->addSeparator();
    m_menu->addAction(u"Settings…"_s, this, &TrayController::settingsRequested);
    m_menu->addSeparator();
    m_menu->addAction(u"Quit Tidewatch"_s, this, &TrayController::quitRequested);
    m_tray->setContextMenu(m_menu.get());

    connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            Q_EMIT popoverRequested();
    });
    connect(m_state, &AppState::stateChanged, this, &TrayController::refresh);
    connect(m_state, &AppState::sourcesChanged, this, &TrayController::refresh);
    connect(m_state, &AppState::snoozesChanged, this, &TrayController::refresh);
    refresh();
}

TrayController::~TrayController() = default;

void TrayController::show()
{
    m_tray->show();
}

void TrayController::showMessage(const QString &title, const QString &body)
{
    m_tray->showMessage(title, body, QSystemTrayIcon::Warning);
}

QRect TrayController::iconGeometry() const
{
    if (const QRect icon = m_tray->geometry(); icon.isValid() && !icon.isEmpty())
        return icon;
    // A one-pixel anchor: the popover hangs below the point, or above it near the bottom edge.
    if (const std::optional<QPoint> clicked = TrayActivation::recent())
        return QRect(*clicked, QSize(1, 1));
    return QRect(QCursor::pos(), QSize(1, 1));
}

void TrayController::listTroubledSources()
{
    qDeleteAll(m_sourceSnoozes);
    m_sourceSnoozes.clear();
    constexpr int listed = 8;
    QAction *before = m_resumeNotifications;
    for (const AnySourceConfig &source : m_state->sources()) {
        if (m_sourceSnoozes.size() == listed)
            break;
        const QUuid id = source.id();
        const auto snapshot = m_state->snapshots().constFind(id);
        const bool down =
            m_state->errors().contains(id) || (snapshot != m_state->snapshots().cend() && snapshot->hasDownWidget());
        if (!down || m_state->snoozeOf(id))
            continue;
        auto *action = new QAction(source.common().displayName + u" Until It Recovers"_s, m_snoozeMenu);
        connect(action, &QAction::triggered, m_state, [state = m_state, id] { state->snoozeSource(id, std::nullopt); });
        m_snoozeMenu->insertAction(before, action);
        m_sourceSnoozes.append(action);
    }
    if (!m_sourceSnoozes.isEmpty())
        m_sourceSnoozes.append(m_snoozeMenu->insertSeparator(before));
}

void TrayController::setStatusShapes(bool on)
{
    if (on == m_shapes)
        return;
    m_shapes = on;
    m_painted = false;
    refresh();
}

void TrayController::refresh()
{
    const OverallStatus status = m_state->overallStatus();
    if (!m_painted || status != m_shown) {
        m_tray->setIcon(trayIcon(status, m_shapes));
        m_shown = status;
        m_painted = true;
    }
    const bool paused = m_state->isPaused();
    m_pauseAction->setText(paused ? u"Resume Monitoring"_s : u"Pause Monitoring"_s);
    m_refreshAction->setEnabled(!paused);

    const std::optional<Snooze> snoozed = m_state->snoozeOf(std::nullopt);
    m_snoozeState->setVisible(snoozed.has_value());
    m_snoozeState->setText(snoozed ? snoozed->describe(QDateTime::currentDateTimeUtc()) : QString());
    m_resumeNotifications->setEnabled(snoozed.has_value());

    QString tip = u"Tidewatch: "_s + PopoverText::headline(status, m_state->sources().size());
    if (const QString hush = PopoverText::hushBanner(m_state->hush()); !hush.isEmpty())
        tip += u"\n"_s + hush;
    if (snoozed)
        tip += u"\nNotifications snoozed until "_s + snoozed->untilText(QDateTime::currentDateTimeUtc());
    const AppState::Counted estate = m_state->counted();
    const auto summary = paused ? PopoverRows::inactiveSummary(m_state->snapshots())
                                : PopoverRows::affectedSummary(estate.snapshots, estate.errors);
    if (summary)
        tip += u"\n"_s + *summary;
    m_tray->setToolTip(tip);
}

} // namespace tw
