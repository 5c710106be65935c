#include "kit/forms/SourceFormState.h"

using namespace Qt::StringLiterals;

namespace tw {

namespace {

// A port that accepts a connection.
class TCPPortForm final : public SourceKindForm
{
public:
    TCPPortForm()
        : SourceKindForm(TCPPortConfig::info)
    { }

    void load(const AnySourceConfig &source, SourceFormState &form) const override
    {
        const auto &c = *source.as<TCPPortConfig>();
        form.host = c.host;
        form.port = QString::number(c.port);
    }

    bool filled(const SourceFormState &form) const override { return form.hostAndPort().has_value(); }

    AnySourceConfig make(const SourceFormState &form, const SourceConfig &common) const override
    {
        TCPPortConfig c;
        static_cast<SourceConfig &>(c) = common;
        std::tie(c.host, c.port) = *form.hostAndPort();
        return c;
    }

    QString missing(const SourceFormState &) const override
    {
        return u"Give the server with --host (host or host:port) and --port."_s;
    }
    QString usage() const override { return u"--host HOST[:PORT] [--port PORT]"_s; }
    QList<Option> options() const override { return {textOption(u"--host"_s, &SourceFormState::host), portOption()}; }
};

} // namespace

TW_DEFINE_KIND_FORM(TCPPort)

} // namespace tw
