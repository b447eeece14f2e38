#pragma once

#include <QLatin1String>

/// The keys of device state records.
namespace recordkey {

template <int Size>
constexpr QLatin1String latin1(const char (&text)[Size])
{
    return QLatin1String(text, Size - 1);
}

inline constexpr QLatin1String type = latin1("type");
inline constexpr QLatin1String num = latin1("num");
inline constexpr QLatin1String deviceAddress = latin1("deviceAddress");
inline constexpr QLatin1String state = latin1("state");
inline constexpr QLatin1String active = latin1("active");
inline constexpr QLatin1String enable = latin1("enable");
inline constexpr QLatin1String action = latin1("action");
inline constexpr QLatin1String value = latin1("value");
inline constexpr QLatin1String level = latin1("level");
inline constexpr QLatin1String factor = latin1("factor");

inline constexpr QLatin1String currencyCode = latin1("currencyCode");
inline constexpr QLatin1String coinSupport = latin1("coinSupport");
inline constexpr QLatin1String tube = latin1("tube");
inline constexpr QLatin1String realValue = latin1("realValue");
inline constexpr QLatin1String count = latin1("count");
inline constexpr QLatin1String isToken = latin1("isToken");
inline constexpr QLatin1String needTip = latin1("needTip");

inline constexpr QLatin1String billTypes = latin1("billTypes");
inline constexpr QLatin1String idx = latin1("idx");
// User interfaces in the field read the key spelt so.
inline constexpr QLatin1String tpyeAllow = latin1("tpyeAllow");

// User interfaces in the field read the key spelt so.
inline constexpr QLatin1String alwaysIdle = latin1("aliwaysIdle");
inline constexpr QLatin1String countryCode = latin1("countryCode");
inline constexpr QLatin1String manuInfo = latin1("manuInfo");
inline constexpr QLatin1String outOfSequence = latin1("outOfSequence");
inline constexpr QLatin1String cardType = latin1("cardType");

} // namespace recordkey
