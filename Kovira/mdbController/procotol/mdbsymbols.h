#pragma once

#include <QtGlobal>

/// Bytes of the MDB/ICP standard and of this machine's commands, in the standard's order.
namespace mdb {

constexpr quint8 ack = 0x00;
constexpr quint8 nak = 0xFF;

/// Coin changer, section 5.
namespace coin {
constexpr quint8 address = 0x08;
constexpr int coinTypes = 16;

enum Offset : quint8 {
    Reset = 0,
    Setup = 1,
    TubeStatus = 2,
    Poll = 3,
    CoinType = 4,
    Dispense = 5,
    Expansion = 7,
};
enum SubCommand : quint8 {
    Identification = 0x00,
    FeatureEnable = 0x01,
    Payout = 0x02,
    PayoutStatus = 0x03,
};
/// Two coins of coin type 3.
constexpr quint8 fixedDispense = 0x23;

namespace setup {
constexpr int level = 0;
constexpr int currency = 1;
constexpr int scalingFactor = 3;
constexpr int decimalPlaces = 4;
constexpr int routing = 5;
constexpr int credits = 7;
} // namespace setup

namespace tubestatus {
constexpr int counts = 2;
} // namespace tubestatus

namespace identification {
constexpr int manufacturer = 0;
constexpr int model = 15;
} // namespace identification

namespace poll {
constexpr quint8 dispensedManually = 0x80;
constexpr quint8 deposited = 0x40;
constexpr quint8 slug = 0x20;
constexpr quint8 typeMask = 0x0F;
constexpr quint8 routingMask = 0x03;
constexpr int routingShift = 4;
/// Routing of a deposit: cash box 0, tube 1, above that not accepted.
constexpr quint8 routedToTube = 1;
} // namespace poll

enum Status : quint8 {
    EscrowRequest = 0x01,
    PayoutBusy = 0x02,
    NoCredit = 0x03,
    DefectiveTubeSensor = 0x04,
    DoubleArrival = 0x05,
    AcceptorUnplugged = 0x06,
    RomChecksumError = 0x08,
    RoutingError = 0x09,
    ChangerBusy = 0x0A,
    WasReset = 0x0B,
    CoinJam = 0x0C,
    CreditedCoinRemoval = 0x0D,
};
} // namespace coin

/// Bill validator, section 6.
namespace bill {
constexpr quint8 address = 0x30;
constexpr int billTypes = 16;

enum Offset : quint8 {
    Reset = 0,
    Setup = 1,
    Security = 2,
    Poll = 3,
    BillType = 4,
    Escrow = 5,
    Stacker = 6,
    Expansion = 7,
};
enum SubCommand : quint8 {
    Identification = 0x00,
    FeatureEnable = 0x01,
    IdentificationWithOptions = 0x02,
};
// Stacks as well as 0x01 does: the standard reads bit 0 only, and validators in the field expect
// it.
constexpr quint8 escrowStack = 0x0F;
constexpr quint8 escrowReturn = 0x00;

namespace setup {
constexpr int level = 0;
constexpr int country = 1;
constexpr int scalingFactor = 3;
constexpr int decimalPlaces = 5;
constexpr int credits = 11;
} // namespace setup

namespace stacker {
constexpr int count = 0;
constexpr quint8 full = 0x80;
} // namespace stacker

namespace poll {
constexpr quint8 routed = 0x80;
constexpr quint8 typeMask = 0x0F;
constexpr quint8 routingMask = 0x07;
constexpr int routingShift = 4;
} // namespace poll

enum Routing : quint8 {
    Stacked = 0,
    InEscrow = 1,
    Returned = 2,
};
enum Status : quint8 {
    MotorError = 0x01,
    SensorError = 0x02,
    Busy = 0x03,
    RomError = 0x04,
    Jam = 0x05,
    JustReset = 0x06,
    BillRemoved = 0x07,
    NoCashBox = 0x08,
    Disabled = 0x09,
    InvalidEscrow = 0x0A,
    Rejected = 0x0B,
    CreditedBillRemoval = 0x0C,
};
} // namespace bill

/// Cashless reader, section 7.
namespace cashless {
constexpr quint8 address = 0x10;
constexpr quint8 secondAddress = 0x60;

enum Offset : quint8 {
    Reset = 0,
    Setup = 1,
    Poll = 2,
    Vend = 3,
    Reader = 4,
    Revalue = 5,
    Expansion = 7,
};
enum SetupCommand : quint8 {
    Configuration = 0x00,
    Prices = 0x01,
};
enum VendCommand : quint8 {
    VendRequest = 0x00,
    VendCancel = 0x01,
    VendSuccess = 0x02,
    VendFailure = 0x03,
    SessionComplete = 0x04,
    CashSale = 0x05,
    NegativeVend = 0x06,
};
enum ReaderCommand : quint8 {
    Disable = 0x00,
    Enable = 0x01,
};
enum RevalueCommand : quint8 {
    RevalueRequest = 0x00,
};
enum ExpansionCommand : quint8 {
    RequestId = 0x00,
    EnableOptions = 0x04,
    Diagnostics = 0xFF,
};
/// Bit 5 of the option word: always idle.
constexpr quint8 optionAlwaysIdle = 0x20;
/// Payment kind of a recorded sale, in bits 15 to 12 of the item number (high byte shown).
constexpr quint8 freeVend = 0x80;
constexpr quint8 testVend = 0x40;
constexpr quint8 negativeVend = 0x20;
constexpr quint8 tokenVend = 0x10;

namespace vmc {
constexpr quint8 level = 3;
constexpr quint8 displayColumns = 16;
constexpr quint8 displayRows = 2;
constexpr quint8 displayInfo = 0x01;
constexpr quint16 currency = 0x1840;
} // namespace vmc

enum Answer : quint8 {
    JustReset = 0x00,
    ReaderConfiguration = 0x01,
    DisplayRequest = 0x02,
    BeginSession = 0x03,
    SessionCancelRequest = 0x04,
    VendApproved = 0x05,
    VendDenied = 0x06,
    EndSession = 0x07,
    Cancelled = 0x08,
    PeripheralId = 0x09,
    OutOfSequence = 0x0B,
    RevalueApproved = 0x0D,
    RevalueDenied = 0x0E,
    RevalueLimit = 0x0F,
};

namespace configuration {
constexpr int level = 1;
constexpr int country = 2;
} // namespace configuration

namespace display {
constexpr int text = 2;
} // namespace display

namespace session {
constexpr int funds = 1;
constexpr int paymentType = 7;
constexpr quint8 paymentTypeMask = 0xC0;
/// Funds from here on say "unknown".
constexpr quint16 unknownFunds = 0xFFFE;
} // namespace session

namespace identification {
constexpr int manufacturer = 1;
constexpr int softwareVersion = 28;
constexpr int options = 33;
} // namespace identification

namespace outofsequence {
constexpr int status = 1;
constexpr quint8 inactive = 1;
constexpr quint8 disabled = 2;
constexpr quint8 vend = 5;
} // namespace outofsequence
} // namespace cashless

} // namespace mdb
