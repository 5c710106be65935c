#pragma once

#include "kit/forms/SourceKindForm.h"
#include "kit/games/GameRegistry.h"
#include "kit/model/AnySourceConfig.h"

#include <QList>
#include <QString>
#include <QUuid>

#include <optional>
#include <utility>

namespace tw {

// What the user has typed into the add/edit sheet, as plain text with no validation on entry. It
// answers whether the form is complete, the one thing wrong with it, what would be saved and under
// which credential name. No network: the sheet and `tidewatch-cli add` share every rule here.
struct SourceFormState
{
    using SourceType = AnySourceConfig::Kind;
    enum class Example { StatusPage, Website, Minecraft };

    SourceType type = SourceType::Kuma;
    QString displayName;
    QString baseURL; // server URL, or the URL of an HTTP ping or JSON source
    QString host; // may hold host:port
    QString port;
    bool portEdited = false; // once the user types a port, choosing a game no longer replaces it
    QString gameID;
    QString gameQueryPort;
    QString username;
    QString statusPageSlug;
    QString secret; // as typed; never loaded from the store
    QList<JSONWidgetConfig::FieldMapping> jsonFields;
    QString pingCount;
    QString recordName;
    QString recordType; // "A", "AAAA", …
    QString expectedValue;
    QString nameserver;
    QString sniName;
    QString warningDays;
    // A Beszel host's limits; blank is off.
    QString cpuLimit;
    QString memLimit;
    QString diskLimit;
    QString tempLimit;
    bool hasStoredSecret = false;
    bool useTLS = false;
    QString pollSeconds;
    bool alertsEnabled = true;
    qint64 alertThreshold = 3;
    std::optional<QUuid> dependsOn; // the source this one sits behind; checked by Dependencies::refusal

    SourceFormState()
        : SourceFormState(SourceType::Kuma)
    { }
    explicit SourceFormState(SourceType kind);
    explicit SourceFormState(Example example);
    explicit SourceFormState(const AnySourceConfig &config);

    bool operator==(const SourceFormState &) const = default;

    bool isComplete() const;
    // The first thing wrong, or nothing; an empty required field is not "wrong", only incomplete.
    std::optional<QString> validationMessage() const;
    std::optional<double> parsedPollSeconds() const;
    // `baseURL` with "https://" in front, when the user typed a bare host.
    std::optional<QString> normalizedBaseURL() const;
    std::optional<std::pair<QString, QString>> parsedHostPort() const;
    std::optional<qint64> parsedQueryPort() const;
    std::optional<QString> credentialRef(const QUuid &id) const;
    // The host and port, from "host:port" or from the two fields.
    std::optional<std::pair<QString, qint64>> hostAndPort() const;
    // The URL as it will be saved.
    QString url() const { return normalizedBaseURL().value_or(baseURL); }
    bool hasSecret() const { return !secret.isEmpty() || hasStoredSecret; }
    std::optional<AnySourceConfig> makeConfig(const QUuid &id) const;
    // What to look at when a test connects and the source shows nothing, or nothing to say for the
    // kinds that always show a row.
    std::optional<QString> emptyTestHint() const;

    // The selected game's row; nothing for an id the catalogue does not know.
    std::optional<GameDefinition> game() const;
    // Unknown games and every kind but game servers take no secret.
    GameDefinition::CredentialUse credentialUse() const;
    // Switches the game, replacing the port unless the user typed one, and dropping a secret that
    // belongs to another query engine.
    void chooseGame(const QString &id);
    // A port typed by hand; it then survives any choice of game.
    void editPort(const QString &text);

    static QString fieldsText(const QList<JSONWidgetConfig::FieldMapping> &fields);
    static QList<JSONWidgetConfig::FieldMapping> parseFields(const QString &text);

    static QList<Example> allExamples();
    static QString exampleIcon(Example example);
    static QString exampleLabel(Example example);

    // Example values used in placeholders and messages, kept in one place.
    static constexpr auto exampleServiceURL = "https://status.home.lan";
    static constexpr auto exampleHostName = "nas.local";
    static constexpr auto examplePrivateAddress = "192.168.1.20";
    static constexpr auto exampleWebsiteURL = "https://example.com";
    static constexpr auto exampleMinecraftHost = "mc.home.lan";
    static constexpr auto exampleNameserver = "192.168.1.1";

    // The form of this kind.
    const SourceKindForm &kindForm() const { return SourceKindForm::of(type); }

private:
    bool urlHasCredentials() const;
    bool urlHasWrongScheme() const;
    bool urlHasNoHost() const;
    bool hostIsBad() const;
};

// Raw values as the command line spells them: "statusPage", …
QString toText(SourceFormState::Example example);
std::optional<SourceFormState::Example> exampleFromText(QStringView text);

} // namespace tw
