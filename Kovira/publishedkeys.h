#pragma once

#include "mdbController/procotol/recordkeys.h"

/// The keys of the published record and of the objects that the user interface passes, beyond
/// those of device state records.
namespace publishedkey {

using recordkey::latin1;

inline constexpr QLatin1String acceptValue = latin1("acceptValue");
inline constexpr QLatin1String tokenValue = latin1("tokenValue");
inline constexpr QLatin1String coinValue = latin1("coinValue");
inline constexpr QLatin1String billValue = latin1("billValue");
inline constexpr QLatin1String cardValue = latin1("cardValue");
inline constexpr QLatin1String universalCoinCount = latin1("universalCoinCount");
inline constexpr QLatin1String devices = latin1("devices");
inline constexpr QLatin1String goods = latin1("goods");
inline constexpr QLatin1String price = latin1("price");
inline constexpr QLatin1String vendCashType = latin1("vendCashType");

// The readers in the item's own book.
inline constexpr QLatin1String cashless1 = latin1("cashless_1");
inline constexpr QLatin1String cashless2 = latin1("cashless_2");

} // namespace publishedkey
