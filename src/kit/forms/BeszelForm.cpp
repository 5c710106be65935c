#include "kit/forms/FormText.h"
#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// A Beszel hub, read with its API token.
class BeszelForm final : public SourceKindForm
{
public:
    BeszelForm()
        : SourceKindForm(BeszelConfig::info)
    { }

    void start(SourceFormState &form) const override
    {
        form.pollSeconds = QString::number(static_cast<qint64>(PollInterval::beszelDefault));
    }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<BeszelConfig>();
        form.baseURL = c.baseURL;
        form.hasStoredSecret = !c.tokenRef.isEmpty();
        const auto text = [](const std::optional<qint64> &limit) {
            return limit ? QString::number(*limit) : QString();
        };
        form.cpuLimit = text(c.limits.cpuPct);
        form.memLimit = text(c.limits.memPct);
        form.diskLimit = text(c.limits.diskPct);
        form.tempLimit = text(c.limits.tempC);
    }

    std::optional<QString> problem(const SourceFormState &form) const override
    {
        for (const Limit &limit : limits()) {
            if (!read(form.*limit.field, limit.high))
                return limit.problem;
        }
        return std::nullopt;
    }

    bool filled(const SourceFormState &form) const override { return !form.baseURL.isEmpty() && form.hasSecret(); }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        BeszelConfig c;
        static_cast<SourceConfig &>(c) = common;
        c.baseURL = form.url();
        c.tokenRef = form.credentialRef(common.id).value_or(QString());
        for (const Limit &limit : limits())
            c.limits.*limit.target = *read(form.*limit.field, limit.high);
        return c;
    }

    bool storesSecret(const SourceFormState &) const override { return true; }

    std::optional<QString> emptyTestHint(const SourceFormState &) const override
    {
        // Only a reply that is not the hub's record list reads as nothing.
        return u"Check that the URL is the Beszel hub itself, not a page in front of it."_s;
    }

    QString missing(const SourceFormState &form) const override
    {
        if (form.baseURL.isEmpty())
            return u"Give the hub's address with --url."_s;
        return u"A Beszel hub needs its API token: pass --secret-stdin and write the token to standard input."_s;
    }

    QString usage() const override
    {
        return u"--url URL --secret-stdin            (the API token)\n"
               "              [--cpu-limit PCT] [--mem-limit PCT] [--disk-limit PCT] [--temp-limit CELSIUS]"_s;
    }

    QList<Option> options() const override
    {
        QList<Option> all{textOption(u"--url"_s, &SourceFormState::baseURL)};
        for (const Limit &limit : limits())
            all.append(textOption(limit.flag, limit.field));
        return all;
    }

private:
    struct Limit
    {
        QString SourceFormState::*field;
        std::optional<qint64> HostLimits::*target;
        qint64 high;
        QString flag;
        QString problem;
    };

    static const QList<Limit> &limits()
    {
        static const QList<Limit> all{
            {&SourceFormState::cpuLimit,
             &HostLimits::cpuPct,
             100,
             u"--cpu-limit"_s,
             u"Enter a CPU limit from 1 to 100 percent, or leave it blank."_s},
            {&SourceFormState::memLimit,
             &HostLimits::memPct,
             100,
             u"--mem-limit"_s,
             u"Enter a memory limit from 1 to 100 percent, or leave it blank."_s},
            {&SourceFormState::diskLimit,
             &HostLimits::diskPct,
             100,
             u"--disk-limit"_s,
             u"Enter a disk limit from 1 to 100 percent, or leave it blank."_s},
            {&SourceFormState::tempLimit,
             &HostLimits::tempC,
             HostLimits::maxTempC,
             u"--temp-limit"_s,
             u"Enter a drive temperature limit from 1 to %1 °C, or leave it blank."_s.arg(HostLimits::maxTempC)},
        };
        return all;
    }

    // Blank is off (an empty optional inside); anything else must be a whole number in range.
    static std::optional<std::optional<qint64>> read(const QString &text, qint64 high)
    {
        if (text.trimmed().isEmpty())
            return std::optional<qint64>();
        const std::optional<qint64> value = FormText::integerIn(text, 1, high);
        if (!value)
            return std::nullopt;
        return value;
    }
};

} // namespace

TW_DEFINE_KIND_FORM(Beszel)

} // namespace tw
