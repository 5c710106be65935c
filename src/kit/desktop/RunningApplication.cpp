#include "RunningApplication.h"

#include "kit/desktop/SourcesService.h"
#include "kit/model/SourcesStore.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace tw {

QString toText(RunningApplication::Status status)
{
    switch (status) {
    case RunningApplication::Status::NotRunning:
        return u"notRunning"_s;
    case RunningApplication::Status::Running:
        return u"running"_s;
    case RunningApplication::Status::Unreachable:
        return u"unreachable"_s;
    }
    return {};
}

RunningApplication::RunningApplication(QDBusConnection bus)
    : m_bus(std::move(bus))
{ }

RunningApplication RunningApplication::find(QDBusConnection bus)
{
    RunningApplication app(std::move(bus));
    QDBusConnectionInterface *daemon = app.m_bus.isConnected() ? app.m_bus.interface() : nullptr;
    if (!daemon || !daemon->isServiceRegistered(QString::fromLatin1(SourcesService::serviceName)))
        return app;
    app.m_status = Status::Running;
    const Reply file = app.call(u"SourcesFile"_s, {});
    if (file.accepted) {
        app.m_sourcesFile = file.text;
    } else {
        app.m_status = Status::Unreachable;
        app.m_problem = file.text;
    }
    return app;
}

RunningApplication::Reply RunningApplication::call(const QString &method, const QString &argument) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(QString::fromLatin1(SourcesService::serviceName),
                                                          QString::fromLatin1(SourcesService::objectPath),
                                                          QString::fromLatin1(SourcesService::interfaceName),
                                                          method);
    if (!argument.isNull())
        message << argument;
    const QDBusMessage answer = m_bus.call(message, QDBus::Block, callTimeoutMs);
    if (answer.type() == QDBusMessage::ErrorMessage)
        return {false, answer.errorMessage().isEmpty() ? answer.errorName() : answer.errorMessage()};
    if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty())
        return {false, u"no answer"_s};
    return {true, answer.arguments().constFirst().toString()};
}

RunningApplication::Reply RunningApplication::addSource(const AnySourceConfig &config) const
{
    return call(u"AddSource"_s, QString::fromUtf8(QJsonDocument(config.toJson()).toJson(QJsonDocument::Compact)));
}

RunningApplication::Reply RunningApplication::replaceSources(const QList<AnySourceConfig> &sources) const
{
    return call(u"ReplaceSources"_s, QString::fromUtf8(SourcesStore::encode(sources)));
}

} // namespace tw
