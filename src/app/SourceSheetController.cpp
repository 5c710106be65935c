#include "SourceSheetController.h"

#include "kit/base/Cancelled.h"
#include "kit/base/CredentialError.h"
#include "kit/base/ProviderError.h"
#include "kit/desktop/InMemoryCredentialStore.h"
#include "kit/model/Dependencies.h"
#include "kit/monitor/AppState.h"

#include <QTimer>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace tw {

namespace {

using SourceType = SourceFormState::SourceType;

struct TestOutcome
{
    bool passed = false;
    QString text;
};

QString describe(const std::exception &error)
{
    if (const auto *provider = dynamic_cast<const ProviderError *>(&error))
        return provider->description();
    if (const auto *credential = dynamic_cast<const CredentialError *>(&error))
        return credential->description();
    return QString::fromUtf8(error.what());
}

// Runs one poll of `config` with nothing of the sheet captured, so it may outlive the sheet.
QCoro::Task<TestOutcome> runTest(AnySourceConfig config,
                                 std::shared_ptr<CredentialStore> store,
                                 ProviderMaker makeProvider,
                                 std::chrono::milliseconds deadline,
                                 std::optional<QString> emptyHint)
{
    StopToken stop = makeStopToken();
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, stop.get(), [source = stop.get()] { source->requestStop(); });
    timer.start(deadline);
    try {
        auto provider = makeProvider(config, store);
        const SourceSnapshot snapshot = co_await provider->fetch(stop);
        if (snapshot.widgets.isEmpty())
            co_return TestOutcome{false,
                                  u"Connected, but the source reported nothing to show."_s
                                      + (emptyHint ? u' ' + *emptyHint : QString())};
        co_return TestOutcome{true, u"Connected"_s};
    } catch (const Cancelled &) {
        co_return TestOutcome{false, failureText(FailureKind::TimedOut)};
    } catch (const std::exception &error) {
        co_return TestOutcome{false, describe(error)};
    }
}

// The error's text, or nothing when the secret was stored.
QCoro::Task<std::optional<QString>> storeSecret(CredentialStore *store, QString name, QString secret)
{
    try {
        co_await store->write(name, secret);
        co_return std::nullopt;
    } catch (const std::exception &error) {
        co_return describe(error);
    }
}

QString credentialUseText(GameDefinition::CredentialUse use)
{
    switch (use) {
    case GameDefinition::CredentialUse::None:
        return u"none"_s;
    case GameDefinition::CredentialUse::Optional:
        return u"optional"_s;
    case GameDefinition::CredentialUse::Required:
        return u"required"_s;
    }
    return {};
}

} // namespace

SourceSheetController::SourceSheetController(AppState *state, ProviderMaker makeProvider, QObject *parent)
    : QObject(parent)
    , m_state(state)
    , m_makeProvider(std::move(makeProvider))
{ }

const SourceFormState &SourceSheetController::form() const
{
    static const SourceFormState none;
    return m_form ? *m_form : none;
}

void SourceSheetController::startAdding()
{
    m_form.reset();
    m_opened.reset();
    m_editedID.reset();
    m_fieldsText.clear();
    m_gameSearch.clear();
    m_saveError.clear();
    ++m_generation;
    m_testing = false;
    resetStatus();
    Q_EMIT modeChanged();
    Q_EMIT formChanged();
}

bool SourceSheetController::startEditing(const QUuid &id)
{
    const auto &sources = m_state->sources();
    const auto found = std::find_if(sources.begin(), sources.end(), [&](const auto &s) { return s.id() == id; });
    if (found == sources.end())
        return false;
    m_form = SourceFormState(*found);
    m_opened = m_form;
    m_editedID = id;
    m_fieldsText = SourceFormState::fieldsText(m_form->jsonFields);
    m_gameSearch.clear();
    m_saveError.clear();
    ++m_generation;
    m_testing = false;
    resetStatus();
    Q_EMIT modeChanged();
    Q_EMIT formChanged();
    return true;
}

QString SourceSheetController::kind() const
{
    return m_form ? toText(m_form->type) : QString();
}

QString SourceSheetController::formView() const
{
    return m_form ? SourceKindForm::view(m_form->type) : QString();
}

QString SourceSheetController::header() const
{
    return m_form ? AnySourceConfig::info(m_form->type).title.toString() + u" Config"_s : u"Add Source"_s;
}

QVariantList SourceSheetController::kinds()
{
    QVariantList list;
    for (auto type : AnySourceConfig::allKinds()) {
        const SourceKindInfo &info = AnySourceConfig::info(type);
        list.append(QVariantMap{{u"kind"_s, toText(type)},
                                {u"title"_s, info.title.toString()},
                                {u"icon"_s, info.symbol.toString()},
                                {u"line"_s, SourceKindForm::of(type).purpose()}});
    }
    return list;
}

QVariantList SourceSheetController::examples()
{
    QVariantList list;
    for (auto example : SourceFormState::allExamples()) {
        list.append(QVariantMap{{u"example"_s, toText(example)},
                                {u"label"_s, SourceFormState::exampleLabel(example)},
                                {u"icon"_s, SourceFormState::exampleIcon(example)}});
    }
    return list;
}

template<typename Change>
void SourceSheetController::change(Change &&apply)
{
    if (!m_form)
        return;
    const SourceFormState before = *m_form;
    apply(*m_form);
    if (*m_form == before)
        return;
    // Whatever the last test said was about the form as it was.
    ++m_generation;
    m_testing = false;
    resetStatus();
    Q_EMIT formChanged();
}

void SourceSheetController::resetStatus()
{
    m_testPassed.reset();
    m_testText.clear();
    Q_EMIT statusChanged();
}

void SourceSheetController::setDisplayName(const QString &text)
{
    change([&](SourceFormState &f) { f.displayName = text; });
}

void SourceSheetController::setBaseURL(const QString &text)
{
    change([&](SourceFormState &f) { f.baseURL = text; });
}

void SourceSheetController::setHost(const QString &text)
{
    change([&](SourceFormState &f) { f.host = text; });
}

void SourceSheetController::setPort(const QString &text)
{
    if (m_form && m_form->port == text)
        return;
    change([&](SourceFormState &f) { f.editPort(text); });
}

void SourceSheetController::setGameID(const QString &id)
{
    if (m_form && m_form->gameID == id)
        return;
    change([&](SourceFormState &f) { f.chooseGame(id); });
}

void SourceSheetController::setGameQueryPort(const QString &text)
{
    change([&](SourceFormState &f) { f.gameQueryPort = text; });
}

void SourceSheetController::setUsername(const QString &text)
{
    change([&](SourceFormState &f) { f.username = text; });
}

void SourceSheetController::setStatusPageSlug(const QString &text)
{
    change([&](SourceFormState &f) { f.statusPageSlug = text; });
}

void SourceSheetController::setSecret(const QString &text)
{
    change([&](SourceFormState &f) { f.secret = text; });
}

void SourceSheetController::setFieldsText(const QString &text)
{
    if (m_fieldsText == text)
        return;
    m_fieldsText = text;
    change([&](SourceFormState &f) { f.jsonFields = SourceFormState::parseFields(text); });
    Q_EMIT formChanged();
}

void SourceSheetController::setUseTLS(bool on)
{
    change([&](SourceFormState &f) { f.useTLS = on; });
}

void SourceSheetController::setPingCount(const QString &text)
{
    change([&](SourceFormState &f) { f.pingCount = text; });
}

void SourceSheetController::setRecordName(const QString &text)
{
    change([&](SourceFormState &f) { f.recordName = text; });
}

void SourceSheetController::setRecordType(const QString &text)
{
    change([&](SourceFormState &f) { f.recordType = text; });
}

QStringList SourceSheetController::recordTypes()
{
    QStringList names;
    for (const DNSRecordType type : allDNSRecordTypes())
        names.append(toText(type));
    return names;
}

void SourceSheetController::setExpectedValue(const QString &text)
{
    change([&](SourceFormState &f) { f.expectedValue = text; });
}

void SourceSheetController::setNameserver(const QString &text)
{
    change([&](SourceFormState &f) { f.nameserver = text; });
}

void SourceSheetController::setSniName(const QString &text)
{
    change([&](SourceFormState &f) { f.sniName = text; });
}

void SourceSheetController::setWarningDays(const QString &text)
{
    change([&](SourceFormState &f) { f.warningDays = text; });
}

void SourceSheetController::setCpuLimit(const QString &text)
{
    change([&](SourceFormState &f) { f.cpuLimit = text; });
}

void SourceSheetController::setMemLimit(const QString &text)
{
    change([&](SourceFormState &f) { f.memLimit = text; });
}

void SourceSheetController::setDiskLimit(const QString &text)
{
    change([&](SourceFormState &f) { f.diskLimit = text; });
}

void SourceSheetController::setTempLimit(const QString &text)
{
    change([&](SourceFormState &f) { f.tempLimit = text; });
}

// The other sources in the list's order, without those that sit behind this one: choosing one of
// them would close a loop.
QList<AnySourceConfig> SourceSheetController::possibleParents() const
{
    QList<AnySourceConfig> possible;
    const QUuid self = m_editedID.value_or(QUuid());
    for (const AnySourceConfig &source : m_state->sources()) {
        if (source.id() != self && !Dependencies::refusal(m_state->sources(), self, source.id()))
            possible.append(source);
    }
    return possible;
}

QStringList SourceSheetController::parentChoices() const
{
    QStringList names{u"Nothing (reached directly)"_s};
    for (const AnySourceConfig &source : possibleParents())
        names.append(source.common().displayName);
    return names;
}

int SourceSheetController::parentIndex() const
{
    if (!m_form || !m_form->dependsOn)
        return 0;
    const QList<AnySourceConfig> possible = possibleParents();
    for (qsizetype i = 0; i < possible.size(); ++i) {
        if (possible.at(i).id() == *m_form->dependsOn)
            return int(i + 1);
    }
    return 0;
}

void SourceSheetController::setParentIndex(int index)
{
    const QList<AnySourceConfig> possible = possibleParents();
    const std::optional<QUuid> parent =
        index >= 1 && index <= possible.size() ? std::optional(possible.at(index - 1).id()) : std::nullopt;
    change([&](SourceFormState &f) { f.dependsOn = parent; });
}

void SourceSheetController::setPollSeconds(const QString &text)
{
    change([&](SourceFormState &f) { f.pollSeconds = text; });
}

void SourceSheetController::setAlertsEnabled(bool on)
{
    change([&](SourceFormState &f) { f.alertsEnabled = on; });
}

void SourceSheetController::setAlertThreshold(int count)
{
    change([&](SourceFormState &f) { f.alertThreshold = std::clamp(count, 1, 10); });
}

void SourceSheetController::setGameSearch(const QString &text)
{
    if (m_gameSearch == text)
        return;
    m_gameSearch = text;
    Q_EMIT formChanged();
}

QString SourceSheetController::validationMessage() const
{
    return m_form ? m_form->validationMessage().value_or(QString()) : QString();
}

QString SourceSheetController::urlHint() const
{
    const auto url = m_form ? m_form->normalizedBaseURL() : std::nullopt;
    return url ? u"Will use "_s + *url : QString();
}

QString SourceSheetController::hostHint() const
{
    // A ping has no port to split off.
    const auto split = m_form && m_form->kindForm().hostTakesPort() ? m_form->parsedHostPort() : std::nullopt;
    return split ? u"Will use host "_s + split->first + u", port "_s + split->second : QString();
}

QString SourceSheetController::credentialUse() const
{
    return credentialUseText(form().credentialUse());
}

bool SourceSheetController::usesWebAPI() const
{
    const auto game = form().game();
    return form().type == SourceType::GameServer && game && game->usesWebAPI();
}

bool SourceSheetController::usesQueryPort() const
{
    const auto game = form().game();
    return form().type == SourceType::GameServer && game && game->usesQueryPort();
}

QString SourceSheetController::setupNote() const
{
    const auto game = form().game();
    return game ? game->setupNote.value_or(QString()) : QString();
}

QVariantList SourceSheetController::gameSections() const
{
    QVariantList sections;
    for (const auto &section : GameRegistry::gameSections(m_gameSearch, form().gameID)) {
        QVariantList games;
        for (const auto &game : section.games)
            games.append(QVariantMap{{u"id"_s, game.id}, {u"name"_s, game.displayName}});
        sections.append(QVariantMap{{u"title"_s, section.title}, {u"games"_s, games}});
    }
    return sections;
}

void SourceSheetController::chooseKind(const QString &kind)
{
    const auto type = sourceKindFromString(kind);
    if (!type || editing())
        return;
    m_form = SourceFormState(*type);
    m_opened = m_form;
    m_fieldsText.clear();
    ++m_generation;
    resetStatus();
    Q_EMIT modeChanged();
    Q_EMIT formChanged();
}

void SourceSheetController::chooseExample(const QString &example)
{
    const auto chosen = exampleFromText(example);
    if (!chosen || editing())
        return;
    m_form = SourceFormState(*chosen);
    m_opened = m_form;
    m_fieldsText.clear();
    ++m_generation;
    resetStatus();
    Q_EMIT modeChanged();
    Q_EMIT formChanged();
}

void SourceSheetController::back()
{
    if (editing() || !m_form)
        return;
    // Back throws the typed values away: the chooser starts every kind from its defaults.
    startAdding();
}

void SourceSheetController::cancel()
{
    Q_EMIT finished();
}

void SourceSheetController::testConnection()
{
    if (!m_form || m_testing)
        return;
    const QUuid id = m_editedID.value_or(QUuid::createUuid());
    const auto config = m_form->makeConfig(id);
    if (!config)
        return;
    m_testing = true;
    m_testPassed.reset();
    m_testText.clear();
    Q_EMIT statusChanged();

    // A typed secret is tried from a store of its own, so a test never writes to the real one and a
    // failed test leaves nothing behind. Without one, an edit tests with the secret already stored.
    std::shared_ptr<CredentialStore> store;
    if (!m_form->secret.isEmpty()) {
        QHash<QString, QString> secrets;
        if (const auto name = m_form->credentialRef(id))
            secrets.insert(*name, m_form->secret);
        store = std::make_shared<InMemoryCredentialStore>(secrets);
    } else {
        // The hub outlives every sheet, so the store is only borrowed.
        store = std::shared_ptr<CredentialStore>(&m_state->credentials(), [](CredentialStore *) {});
    }
    const quint64 generation = m_generation;
    QCoro::connect(runTest(*config, store, m_makeProvider, m_testDeadline, form().emptyTestHint()),
                   this,
                   [this, generation](TestOutcome o) {
                       if (generation == m_generation) {
                           m_testing = false;
                           m_testPassed = o.passed;
                           m_testText = o.text;
                           Q_EMIT statusChanged();
                       }
                       Q_EMIT testFinished();
                   });
}

void SourceSheetController::save()
{
    if (!m_form || m_testing || m_saving)
        return;
    const QUuid id = m_editedID.value_or(QUuid::createUuid());
    const auto config = m_form->makeConfig(id);
    if (!config)
        return;
    const bool editing = m_editedID.has_value();
    const auto commit = [this, editing, config = *config] {
        if (editing)
            m_state->updateSource(config);
        else
            m_state->addSource(config);
        Q_EMIT saveFinished();
        Q_EMIT finished();
    };
    const auto name = m_form->credentialRef(id);
    if (!name || m_form->secret.isEmpty()) {
        // No new secret: a stored one stays under the same name, which depends only on kind and id.
        commit();
        return;
    }
    m_saving = true;
    m_saveError.clear();
    Q_EMIT statusChanged();
    QCoro::connect(storeSecret(&m_state->credentials(), *name, m_form->secret),
                   this,
                   [this, commit](std::optional<QString> error) {
                       m_saving = false;
                       if (error) {
                           // Nothing is added or changed: the source would point at a secret that is not there.
                           m_saveError = *error;
                           Q_EMIT statusChanged();
                           Q_EMIT saveFinished();
                           return;
                       }
                       Q_EMIT statusChanged();
                       commit();
                   });
}

void SourceSheetController::dismissSaveError()
{
    if (m_saveError.isEmpty())
        return;
    m_saveError.clear();
    Q_EMIT statusChanged();
}

} // namespace tw
