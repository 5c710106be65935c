#include "PopoverController.h"

#include "app/Logging.h"
#include "app/PopoverModel.h"
#include "app/PopoverRows.h"
#include "app/PopoverText.h"
#include "app/RowText.h"
#include "app/TrayIconPainter.h"
#include "kit/model/JsonRead.h"
#include "kit/monitor/AppState.h"
#include "kit/monitor/EventLog.h"

#include <QDesktopServices>

using namespace Qt::StringLiterals;

namespace tw {

PopoverController::PopoverController(AppState *state, PopoverModel *rows, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_rows(rows)
{
    connect(m_state, &AppState::stateChanged, this, &PopoverController::changed);
    connect(m_state, &AppState::sourcesChanged, this, &PopoverController::changed);
    connect(m_state, &AppState::hushChanged, this, &PopoverController::changed);
    connect(m_state, &AppState::storageProblemChanged, this, &PopoverController::changed);
    connect(m_state, &AppState::snoozesChanged, this, [this] {
        ++m_snoozeRevision;
        Q_EMIT snoozesChanged();
    });
    connect(&m_state->eventLog(), &EventLog::changed, this, &PopoverController::recentEventsChanged);
}

QVariantList PopoverController::recentEvents() const
{
    // The log drops a week-old event only when the next one comes; the view never shows it.
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QVariantList list;
    for (const RecentEvent &event :
         EventLog::since(m_state->eventLog().events(), now.addSecs(-EventLog::maxAgeSeconds))) {
        list.append(QVariantMap{
            {u"kind"_s, toText(event.kind)},
            {u"title"_s, event.title},
            {u"detail"_s, event.detail},
            {u"time"_s, event.time},
            {u"sourceId"_s, event.sourceID.isNull() ? QString() : JsonRead::uuidText(event.sourceID)},
        });
    }
    return list;
}

QString PopoverController::hushText() const
{
    return PopoverText::hushBanner(m_state->hush());
}

QString PopoverController::storageProblem() const
{
    return m_state->storageProblem();
}

bool PopoverController::offline() const
{
    return m_state->hush() == AlertGate::Hush::Offline;
}

QString PopoverController::snoozeAllText() const
{
    const std::optional<Snooze> snooze = m_state->snoozeOf(std::nullopt);
    return snooze ? u"Notifications snoozed until "_s + snooze->untilText(QDateTime::currentDateTimeUtc()) : QString();
}

QString PopoverController::snoozeText(const QString &sourceId) const
{
    const QUuid id = QUuid::fromString(sourceId);
    if (id.isNull())
        return {};
    const std::optional<Snooze> snooze = m_state->snoozeOf(id);
    return snooze ? snooze->describe(QDateTime::currentDateTimeUtc()) : QString();
}

void PopoverController::snoozeSource(const QString &sourceId, int hours)
{
    const QUuid id = QUuid::fromString(sourceId);
    if (id.isNull())
        return;
    m_state->snoozeSource(id, hours > 0 ? std::optional<qint64>(hours * 3600) : std::nullopt);
}

void PopoverController::endSnooze(const QString &sourceId)
{
    const QUuid id = QUuid::fromString(sourceId);
    if (!id.isNull())
        m_state->endSnooze(id);
}

void PopoverController::snoozeAll(int hours)
{
    m_state->snoozeAll(qint64(hours) * 3600);
}

void PopoverController::resumeNotifications()
{
    m_state->endSnooze(std::nullopt);
}

QString PopoverController::headline() const
{
    if (!m_state->sources().isEmpty() && !m_state->isPaused()) {
        if (const QString text = PopoverText::hushHeadline(m_state->hush()); !text.isEmpty())
            return text;
    }
    return PopoverText::headline(m_state->overallStatus(), m_state->sources().size());
}

QString PopoverController::chipText() const
{
    if (!m_state->sources().isEmpty() && !m_state->isPaused()) {
        if (const QString text = PopoverText::hushChip(m_state->hush()); !text.isEmpty())
            return text;
    }
    return PopoverText::chipText(m_state->overallStatus(), m_state->sources().size());
}

QColor PopoverController::statusColour() const
{
    return TrayIconPainter::statusColour(m_state->overallStatus());
}

QString PopoverController::status() const
{
    return toText(m_state->overallStatus());
}

QString PopoverController::summary() const
{
    const AppState::Counted estate = m_state->counted();
    const auto text = m_state->isPaused() ? PopoverRows::inactiveSummary(m_state->snapshots())
                                          : PopoverRows::affectedSummary(estate.snapshots, estate.errors);
    return text.value_or(QString());
}

bool PopoverController::paused() const
{
    return m_state->isPaused();
}

bool PopoverController::hasSources() const
{
    return !m_state->sources().isEmpty();
}

QDateTime PopoverController::lastFetched() const
{
    QDateTime newest;
    for (const SourceSnapshot &snapshot : m_state->snapshots()) {
        if (!newest.isValid() || snapshot.fetchedAt > newest)
            newest = snapshot.fetchedAt;
    }
    return newest;
}

QString PopoverController::relativeTime(const QDateTime &date) const
{
    return PopoverText::relativeTime(date, QDateTime::currentDateTimeUtc());
}

QString PopoverController::ageText(const QDateTime &date) const
{
    return PopoverText::ageText(date, QDateTime::currentDateTimeUtc());
}

namespace {

std::optional<double> reading(const QVariant &value)
{
    bool ok = false;
    const double number = value.toDouble(&ok);
    return value.isValid() && !value.isNull() && ok ? std::optional(number) : std::nullopt;
}

} // namespace

QString PopoverController::latencyText(const QString &prefix, const QVariant &ms) const
{
    return RowText::latencyText(prefix.isEmpty() ? std::nullopt : std::optional(prefix), reading(ms));
}

QString PopoverController::ringText(const QVariant &pct) const
{
    return RowText::ringText(reading(pct));
}

double PopoverController::ringFraction(const QVariant &pct) const
{
    return RowText::ringFraction(reading(pct));
}

QColor PopoverController::ringColour(const QVariant &pct, const QColor &accent) const
{
    return RowText::ringColour(reading(pct), accent);
}

QColor PopoverController::statusColourOf(const QString &status) const
{
    return TrayIconPainter::statusColour(serviceStatusFromString(status).value_or(ServiceStatus::Unknown));
}

bool PopoverController::usesScrollingForm(int sourceCount, int flatRows)
{
    return sourceCount > 0 && flatRows >= 10;
}

void PopoverController::refreshAll()
{
    m_state->refreshAll();
}

void PopoverController::togglePaused()
{
    m_state->togglePaused();
}

void PopoverController::reveal(const QUuid &sourceID)
{
    Q_EMIT revealRequested(JsonRead::uuidText(sourceID));
}

void PopoverController::openInBrowser(const QString &url)
{
    const QUrl page(url, QUrl::StrictMode);
    if (!page.isValid() || (page.scheme() != u"http" && page.scheme() != u"https"))
        return;
    const bool opened = m_openPage ? m_openPage(page) : QDesktopServices::openUrl(page);
    if (opened)
        Q_EMIT closeRequested();
    else
        qCWarning(logging::views, "no browser took %s", qPrintable(page.toDisplayString()));
}

} // namespace tw
