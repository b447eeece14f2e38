#pragma once

#include <QJsonObject>
#include <QString>
#include <QVector>

#include <optional>

namespace mdbsim {

/// One coin type of a changer and its tube.
struct CoinType
{
    /// Credit byte that marks a token.
    static constexpr int token = 0xFF;

    /// Value in units of the scaling factor, 0 for an unused type.
    int credit = 0;
    /// Whether coins go to a tube until it is full; otherwise to the cash box.
    bool toTube = false;
    /// Coins in the tube, at most its capacity.
    int count = 0;
    /// Coins that the tube holds, 0 to 255.
    int capacity = 0;

    /// Whether the type is a token, without a value of its own.
    bool isToken() const { return credit == token; }
};

/// What the changer does with a POLL while it pays out.
enum class PayoutStyle {
    /// Reports that it is busy.
    Busy,
    /// Answers nothing, but for one answer after each 1.5 s.
    Silent,
    /// Acknowledges as if nothing was going on.
    Ack
};

/// A coin changer as it leaves the factory.
struct CoinChangerConfig
{
    /// Feature level, 2 or 3.
    int level = 3;
    /// Four digits: 1 and the ISO 4217 number, or 0 and the telephone code.
    int currencyCode = 1978;
    /// Smallest units of the currency per unit of credit, 1 to 255.
    int scalingFactor = 5;
    /// Decimal places of the currency, 0 to 255.
    int decimals = 2;
    /// At most 16; the index is the coin type.
    QVector<CoinType> coinTypes = {{1, true, 20, 60},  {2, true, 20, 60},  {4, true, 20, 60},
                                   {10, true, 20, 60}, {20, true, 20, 60}, {40, false, 0, 0}};
    /// In JSON "busy", "silent" or "ack".
    PayoutStyle payoutStyle = PayoutStyle::Busy;
    /// How long a payout takes for each coin, 0 to 60000 ms.
    int msPerCoin = 150;
    /// Several events in one POLL reply.
    bool joinedEvents = false;
    /// SETUP, TUBE STATUS and PAYOUT STATUS end with the last coin type in use.
    bool shortReplies = false;
    /// A rejected coin is reported at the next POLL; in JSON as strict unless given.
    bool reportsRejected = false;
    /// Optional features only once enabled, reports repeated until they are acknowledged.
    bool strict = false;

    /// Absent keys keep their defaults; *error names the wrong key.
    static std::optional<CoinChangerConfig> fromJson(const QJsonObject &json, QString *error);
};

} // namespace mdbsim
