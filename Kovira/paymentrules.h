#pragma once

#include <QJsonArray>
#include <QJsonObject>

#include <optional>

/// The sale's arithmetic: functions without side effects. Amounts are in the currency's smallest
/// unit. Sums and products stay within 32 bits: what is beyond becomes the highest or lowest int.
namespace paymentrules {

/// a + b, at most the highest and at least the lowest int.
int add(int a, int b);
/// a - b within the same limits.
int subtract(int a, int b);
/// a × b within the same limits.
int multiply(int a, int b);

/// The credit of the three kinds of cash.
struct Credit
{
    /// Tokens that have a value.
    int token = 0;
    /// Coins, and bills that were stacked at once.
    int coin = 0;
    /// The bill in escrow.
    int bill = 0;
};

/// Which credit a cash sale is taken from; at most one flag is set.
struct PaymentSource
{
    /// A universal token pays the whole price.
    bool universal = false;
    /// Tokens cover the price.
    bool token = false;
    /// Tokens and coins cover it.
    bool coin = false;
    /// Tokens, coins and the bill cover it.
    bool bill = false;

    /// Whether the credit covers the price at all.
    bool any() const { return universal || token || coin || bill; }
    /// Index of the settlement handler, 0 to 15.
    int handlerIndex() const { return universal * 8 + token * 4 + coin * 2 + bill; }
};

/// The first that holds: a universal token, tokens that cover the price, coins that cover what
/// tokens leave, coins and the bill together.
PaymentSource choosePaymentSource(int universalCoins, const Credit &credit, int price);

/// Whether coins and bills have reached the limit of stored cash; a limit of 0 is none.
bool isStorageFull(int limit, int coinValue, int billValue);

/// Whether a tube coin type of a coin changer record is at or below the tip level. A level below
/// 1 turns the check off. Tubes that were not counted yet read as empty.
bool tubesNeedTip(const QJsonObject &coinRecord, int tipLevel);

/// The fixed value of a universal token of this coin type, if it has one: that of the first entry
/// whose "num" is the coin type.
std::optional<int> reassignedValue(const QJsonArray &entries, int coinType);

} // namespace paymentrules
