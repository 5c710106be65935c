#pragma once

#include "kit/model/PollInterval.h"
#include "kit/model/SourceKindInfo.h"

#include <QJsonObject>
#include <QUuid>

#include <optional>

namespace tw {

// The fields every kind of source begins with. Each configuration record derives from this,
// so code that reads a common field never needs to know the kind.
struct SourceConfig
{
    QUuid id;
    QString displayName;
    double pollInterval = PollInterval::defaultSeconds; // seconds; clamped where it is used
    bool alertsEnabled = true;
    qint64 alertThreshold = 3; // failed checks in a row before an alert; 0 or less acts as 1
    // The source this one sits behind (the router it is reached through): while that source is
    // down, this one's failures are put down to it. Optional in the file; see Dependencies.
    std::optional<QUuid> dependsOn = std::nullopt;

    bool operator==(const SourceConfig &) const = default;

    // The name of the secret in the credential store; the kinds that keep one hide this.
    std::optional<QString> secretRef() const { return std::nullopt; }

protected:
    void writeCommon(QJsonObject &o) const;
    // Every common key is required, but dependsOn.
    void readCommon(const QJsonObject &o);
    static std::optional<QUuid> readDependsOn(const QJsonObject &o);
};

} // namespace tw
