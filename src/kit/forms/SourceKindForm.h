#pragma once

#include "kit/model/AnySourceConfig.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <type_traits>

namespace tw {

struct SourceFormState;

// The form of one kind of source: where its fields start, what is wrong with them, what they build,
// and how the command line names them. Each kind has one, in kit/forms/<Kind>Form.cpp; the fields
// every kind shares (name, interval, alerts, the URL's and the host's checks) are SourceFormState's.
class SourceKindForm
{
public:
    // A command-line option of the kind. `apply` puts the value into the form, or says what is wrong.
    struct Option
    {
        QString flag;
        std::function<std::optional<QString>(SourceFormState &form, const QString &value)> apply;
        bool takesValue = true;
    };

    explicit SourceKindForm(const SourceKindInfo &info)
        : m_info(info)
    { }
    virtual ~SourceKindForm() = default;
    SourceKindForm(const SourceKindForm &) = delete;
    SourceKindForm &operator=(const SourceKindForm &) = delete;

    const SourceKindInfo &info() const { return m_info; }
    // The line under the kind's title in the chooser.
    virtual QString purpose() const { return m_info.purpose.toString(); }

    // Sets the kind's own fields to where a new source of the kind starts.
    virtual void start(SourceFormState &) const { }
    // Fills the kind's own fields from a saved source of the kind.
    virtual void load(const AnySourceConfig &source, SourceFormState &form) const = 0;
    // The first thing wrong with the kind's own fields; a blank required field is not wrong.
    virtual std::optional<QString> problem(const SourceFormState &) const { return std::nullopt; }
    // Whether every field the kind needs holds something.
    virtual bool filled(const SourceFormState &form) const = 0;
    // The source, from a complete form; `common` holds the id, name, interval and alerts.
    virtual AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const = 0;
    // Whether a typed secret is kept in the credential store for this source.
    virtual bool storesSecret(const SourceFormState &) const { return false; }
    // A ping's host is a bare name or address; every other host may carry ":port".
    virtual bool hostTakesPort() const { return true; }
    // What to look at when a test connects and the source shows nothing.
    virtual std::optional<QString> emptyTestHint(const SourceFormState &) const { return std::nullopt; }

    // The command line: what an incomplete form still needs, the kind's usage line and options.
    virtual QString missing(const SourceFormState &form) const = 0;
    virtual QString usage() const = 0;
    virtual QList<Option> options() const = 0;

    static const SourceKindForm &of(AnySourceConfig::Kind kind);
    // The view of the kind's fields in the sheet, a QML component: "TLSCertificateForm".
    static QString view(AnySourceConfig::Kind kind);

protected:
    // Options that set a text field as typed.
    static Option textOption(const QString &flag, QString SourceFormState::*field);
    static Option portOption();

private:
    const SourceKindInfo &m_info;
};

#define TW_DECLARE_KIND_FORM(Kind) const SourceKindForm &kindForm(std::type_identity<Kind##Config>);
TW_SOURCE_KINDS(TW_DECLARE_KIND_FORM)
#undef TW_DECLARE_KIND_FORM

// In each kind's form file, after its class `<Kind>Form`: the one instance the table above finds.
#define TW_DEFINE_KIND_FORM(Kind)                                                                                      \
    const SourceKindForm &kindForm(std::type_identity<Kind##Config>)                                                   \
    {                                                                                                                  \
        static const Kind##Form form;                                                                                  \
        return form;                                                                                                   \
    }

} // namespace tw
