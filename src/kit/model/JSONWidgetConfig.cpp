#include "JSONWidgetConfig.h"

#include "kit/model/JsonRead.h"

#include <QList>

namespace tw {

JSONWidgetConfig::JSONWidgetConfig(const QUuid &id_,
                                   const QString &displayName_,
                                   const QString &url_,
                                   const QList<FieldMapping> &fields_)
    : SourceConfig{id_, displayName_}
    , url(url_)
    , fields(fields_)
{ }

QJsonObject JSONWidgetConfig::toJson() const
{
    QJsonObject o;
    writeCommon(o);
    o.insert(u"url", url);
    if (bearerTokenRef)
        o.insert(u"bearerTokenRef", *bearerTokenRef);
    QJsonArray mappings;
    for (const FieldMapping &f : fields)
        mappings.append(QJsonObject{{QStringLiteral("label"), f.label}, {QStringLiteral("path"), f.path}});
    o.insert(u"fields", mappings);
    return o;
}

JSONWidgetConfig JSONWidgetConfig::fromJson(const QJsonValue &value)
{
    const QJsonObject o = JsonRead::object(value, u"JSONWidgetConfig");
    JSONWidgetConfig c;
    c.readCommon(o);
    c.url = JsonRead::string(o, u"url");
    c.bearerTokenRef = JsonRead::optionalString(o, u"bearerTokenRef");
    for (const QJsonValue &v : JsonRead::array(o, u"fields")) {
        const QJsonObject f = JsonRead::object(v, u"FieldMapping");
        c.fields.append({JsonRead::string(f, u"label"), JsonRead::string(f, u"path")});
    }
    return c;
}

QString JSONWidgetConfig::target() const
{
    return url;
}

std::optional<QString> JSONWidgetConfig::secretRef() const
{
    return bearerTokenRef;
}

} // namespace tw
