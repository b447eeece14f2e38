#pragma once

#include <QJsonObject>
#include <QString>
#include <QVector>

#include <optional>

namespace mdbsim {

/// A bill validator as it leaves the factory.
struct BillValidatorConfig
{
    /// Feature level, 1 or 2.
    int level = 2;
    /// Four digits, sent as packed BCD: 1 and the ISO 4217 number, or 0 and the telephone code.
    int currencyCode = 1978;
    /// Smallest units of the currency per unit of credit, 1 to 65535.
    int scalingFactor = 100;
    /// Decimal places of the currency, 0 to 255.
    int decimals = 2;
    /// Credit of each bill type, at most 16; 0 = no such bill, 255 = vend token.
    QVector<int> billTypes = {5, 10, 20, 50};
    /// Bills, up to 32767.
    int stackerCapacity = 600;
    /// Whether it can hold a bill until the master says where it goes.
    bool escrow = true;
    /// Insists on the standard: commands above its level get no answer, and a report that was
    /// not acknowledged is sent again.
    bool strict = false;
    /// Says at each POLL that it is disabled; in JSON as strict unless given.
    bool reportsDisabled = false;
    /// Several reports in one POLL reply.
    bool joinedEvents = false;
    /// The SETUP reply ends with the last credit that is not 0.
    bool shortReplies = false;

    /// Absent keys keep their defaults; *error names a key that is unknown or wrong.
    static std::optional<BillValidatorConfig> fromJson(const QJsonObject &object, QString *error);
};

} // namespace mdbsim
