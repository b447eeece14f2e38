#include "billprotocol.h"

#include "protocollog.h"

#include <QJsonArray>

#include <algorithm>
#include <iterator>

using namespace mdb::bill;
using protocollog::print;
using protocollog::printBytes;

namespace {

enum Action {
    BillInEscrow = 10,
    BillStacked = 11,
    BillReturned = 12,
};

/// Null for a status that the standard does not know.
const char *statusText(quint8 status)
{
    switch (status) {
    case MotorError:
        return "billv_motor_error,";
    case SensorError:
        return "billv_sensor_error,";
    case Busy:
        return "billv_busy,";
    case RomError:
        return "billv_rom_error,";
    case Jam:
        return "billv_jam,";
    case JustReset:
        return "----------MDB_BILLV_POLL_STATUS_JUST_RESET----------\n";
    case BillRemoved:
        return "billv_bill_removed,";
    case NoCashBox:
        return "billv_no_cashbox,";
    case Disabled:
        return "billv_disabled,";
    case InvalidEscrow:
        return "billv_invalid_escrow,";
    case Rejected:
        return "billv_rejected,";
    case CreditedBillRemoval:
        return "billv_stacked_remove,";
    default:
        return nullptr;
    }
}

int maskUpTo(int highestType)
{
    if (highestType < 0)
        return 0;
    return highestType >= 7 ? 255 : (2 << highestType) - 1;
}

} // namespace

BillProtocol::BillProtocol() : QueuedProtocol(mdb::bill::address)
{
    initCmdCode();
    insertIntoState(recordkey::tpyeAllow, m_tpyeAllow.load());
    startWithPoll(BillProtocol::getDeviceType());
}

void BillProtocol::initCmdCode()
{
    m_commandTable = {
        &BillProtocol::setPoll,         &BillProtocol::setReset,      &BillProtocol::setSetup,
        &BillProtocol::setExpansion0,   &BillProtocol::setExpansion1, &BillProtocol::setExpansion2,
        &BillProtocol::setStacker,      &BillProtocol::setType,       &BillProtocol::setEscrowStack,
        &BillProtocol::setEscrowReturn, &BillProtocol::setSecurity,   &BillProtocol::setUnable,
    };
}

void BillProtocol::init()
{
    queueCommands({0, 2, 10, 3, 5, 4, 7});
}

void BillProtocol::setTpyeAllow(int highestType)
{
    m_tpyeAllow = maskUpTo(highestType);
    insertIntoState(recordkey::tpyeAllow, m_tpyeAllow.load());
    storeState();
    report();
    setCMD(7);
}

void BillProtocol::decode(const ReplyView &reply)
{
    switch (sentOffset()) {
    case Setup:
        return analysisSetup(reply);
    case Poll:
        return analysisPoll(reply);
    case BillType:
        return analysisType(reply);
    case Stacker:
        return analysisStacker(reply);
    case Expansion:
        return decodeExpansion(reply);
    default:
        return;
    }
}

void BillProtocol::decodeExpansion(const ReplyView &reply)
{
    switch (sentByte(1)) {
    case Identification:
        return analysisExpansion0(reply);
    case FeatureEnable:
        return analysisExpansion1(reply);
    case IdentificationWithOptions:
        return analysisExpansion2(reply);
    default:
        return;
    }
}

void BillProtocol::setPoll()
{
    sendCommand(Poll);
}

void BillProtocol::analysisPoll(const ReplyView &reply)
{
    if (reply.length() == 1) {
        m_missedPolls.reset();
        return;
    }
    if (reply.length() < 1)
        return countMissedPoll();
    m_repeated = m_lastPoll.repeatedBy(reply);
    for (int i = 0; i < reply.dataSize(); ++i) {
        if (reply[i] & poll::routed)
            analysisRoutedBill(reply[i]);
        else
            analysisStatus(reply[i]);
    }
}

void BillProtocol::countMissedPoll()
{
    if (!m_missedPolls.addAndCheckLost() || !m_active)
        return;
    m_active = false;
    storeState(false, false);
    report();
}

void BillProtocol::analysisRoutedBill(quint8 event)
{
    const int routing = (event >> poll::routingShift) & poll::routingMask;
    const int billType = event & poll::typeMask;
    const int credit = routing == Stacked ? 0 : m_credits[static_cast<std::size_t>(billType)];
    insertIntoState(recordkey::factor, m_scalingFactor);
    m_action.insert(recordkey::value, valueOf(credit));
    switch (routing) {
    case InEscrow:
        storeAction(BillInEscrow);
        break;
    case Stacked:
        storeAction(BillStacked);
        break;
    case Returned:
        storeAction(BillReturned);
        break;
    default:
        storeAction();
        break;
    }
    reportAndDropAction();
    print("_bill_routing:0x%02x,$:%d,", routing, billType);
}

// Hundredths of the currency unit for 0 to 2 decimal places, 0 for more.
int BillProtocol::valueOf(int credit) const
{
    constexpr int powersOfTen[] = {100, 10, 1};
    const int power = m_decimalPlaces < std::size(powersOfTen) ? powersOfTen[m_decimalPlaces] : 0;
    return credit * m_scalingFactor * power;
}

void BillProtocol::analysisStatus(quint8 status)
{
    const char *text = statusText(status);
    if (!text)
        print("default,");
    else if (!m_repeated)
        print("%s", text);
    if (status != JustReset)
        return;
    m_active = true;
    init();
    insertIntoState(recordkey::active, true);
    storeState();
    report();
}

void BillProtocol::setReset()
{
    sendCommand(Reset);
}

void BillProtocol::setSetup()
{
    sendCommand(Setup);
}

void BillProtocol::analysisSetup(const ReplyView &reply)
{
    if (reply.length() < 1)
        return;
    printBytes("[bill_setup]", reply);
    m_level = reply[setup::level];
    m_countryCode = reply.readU16(setup::country);
    m_scalingFactor = reply.readU16(setup::scalingFactor);
    m_decimalPlaces = reply[setup::decimalPlaces];
    insertIntoState(recordkey::billTypes, storeCredits(reply));
}

QJsonArray BillProtocol::storeCredits(const ReplyView &reply)
{
    QJsonArray types;
    const int reported = std::min(reply.dataSize() - setup::credits, billTypes);
    for (int i = 0; i < reported; ++i) {
        const quint8 credit = reply[setup::credits + i];
        m_credits[static_cast<std::size_t>(i)] = credit;
        if (credit != 0)
            types.append(QJsonObject{
                {recordkey::idx, i},
                {recordkey::value, credit * m_scalingFactor / 100},
            });
    }
    return types;
}

void BillProtocol::setExpansion0()
{
    sendCommand(Expansion, {Identification});
}

void BillProtocol::analysisExpansion0(const ReplyView &reply)
{
    if (reply.length() < 2)
        return;
    printBytes("[bill_expansion 0]", reply);
    storeManufacturer(reply);
}

void BillProtocol::setExpansion1()
{
    sendCommand(Expansion, {FeatureEnable, 0xFF, 0xFF, 0xFF, 0xFF});
}

void BillProtocol::analysisExpansion1(const ReplyView &reply)
{
    printBytes("[bill_expansion 1]", reply);
}

void BillProtocol::setExpansion2()
{
    sendCommand(Expansion, {IdentificationWithOptions});
}

void BillProtocol::analysisExpansion2(const ReplyView &reply)
{
    printBytes("[bill_expansion 2]", reply);
    storeManufacturer(reply);
}

void BillProtocol::storeManufacturer(const ReplyView &reply)
{
    if (reply.length() < 4)
        return;
    m_manufacturer = {reply[0], reply[1], reply[2]};
    insertIntoRecord(recordkey::level, m_level);
    report();
}

void BillProtocol::setStacker()
{
    sendCommand(Stacker);
}

void BillProtocol::analysisStacker(const ReplyView &reply)
{
    if (reply.length() < 2)
        return;
    printBytes("[bill_stacker]", reply);
    if (!(reply[stacker::count] & stacker::full))
        m_stackerCount = reply.readU16(stacker::count);
}

void BillProtocol::setType()
{
    const auto mask = static_cast<quint8>(m_tpyeAllow);
    sendCommand(BillType, {0x00, mask, 0x00, mask});
}

void BillProtocol::setUnable()
{
    sendCommand(BillType, {0x00, 0x00, 0x00, 0x00});
}

void BillProtocol::analysisType(const ReplyView &reply)
{
    if (reply.length() > 1)
        printBytes("[bill_type]", reply);
    insertIntoState(recordkey::enable, m_tpyeAllow > 0);
    storeState();
    report();
}

void BillProtocol::setEscrowStack()
{
    sendCommand(Escrow, {escrowStack});
}

void BillProtocol::setEscrowReturn()
{
    sendCommand(Escrow, {escrowReturn});
}

void BillProtocol::setSecurity()
{
    sendCommand(Security, {0xFF, 0xFF});
}
