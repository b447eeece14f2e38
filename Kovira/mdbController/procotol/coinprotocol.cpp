#include "coinprotocol.h"

#include "protocollog.h"

#include <algorithm>
#include <iterator>

using namespace mdb::coin;
using protocollog::print;
using protocollog::printBytes;
using protocollog::printLine;

namespace {

enum Action {
    PayoutFinished = 3,
    CoinDeposited = 13,
    LeverPressed = 14,
    ChangerPayingOut = 15,
    PayoutTakenUp = 16,
};

/// Credit of a coin type whose value the map does not know.
constexpr quint16 unknownCoinValue = 2550;

/// Null for a status that the standard does not know.
const char *statusText(quint8 status)
{
    switch (status) {
    case EscrowRequest:
        return "MDB_COIN_POLL_STATUS_ESCROW_REQUEST,";
    case PayoutBusy:
        return "MDB_COIN_POLL_STATUS_CHANGER_PAYOUT_BUSY,";
    case NoCredit:
        return "MDB_COIN_POLL_STATUS_NO_CREDIT,";
    case DefectiveTubeSensor:
        return "MDB_COIN_POLL_STATUS_DEFECTIVE_TUBE_SENSOR,";
    case DoubleArrival:
        return "MDB_COIN_POLL_STATUS_DOUBLE_ARRIVAL,";
    case AcceptorUnplugged:
        return "MDB_COIN_POLL_STATUS_ACCEPTOR_UNPLUGGED,";
    case RomChecksumError:
        return "MDB_COIN_POLL_STATUS_ROM_CHECKSUM_ERROR,";
    case RoutingError:
        return "MDB_COIN_POLL_STATUS_COIN_ROUTING_ERROR,";
    case ChangerBusy:
        return "MDB_COIN_POLL_STATUS_CHANGER_BUSY,";
    case WasReset:
        return "MDB_COIN_POLL_STATUS_CHANGER_WAS_RESET,";
    case CoinJam:
        return "MDB_COIN_POLL_STATUS_COIN_JAM,";
    case CreditedCoinRemoval:
        return "MDB_COIN_POLL_STATUS_POSSIBLE_CREDITED_COIN_REMOVAL,";
    default:
        return nullptr;
    }
}

bool isDenomination(int value)
{
    constexpr int denominations[] = {1, 2, 5, 10, 20, 50, 100, 200};
    return std::find(std::begin(denominations), std::end(denominations), value)
        != std::end(denominations);
}

} // namespace

CoinProtocol::CoinProtocol() : QueuedProtocol(mdb::coin::address)
{
    initCmdCode();
    startWithPoll(CoinProtocol::getDeviceType());
}

void CoinProtocol::initCmdCode()
{
    m_commandTable = {
        &CoinProtocol::setPoll,
        &CoinProtocol::setReset,
        &CoinProtocol::setSetup,
        &CoinProtocol::setTubeStatus,
        &CoinProtocol::setType,
        &CoinProtocol::setDispense,
        &CoinProtocol::setExpansionId,
        &CoinProtocol::setExpansionFeature,
        &CoinProtocol::setExpansionPayout,
        &CoinProtocol::setExpansionPayoutStatus,
        &CoinProtocol::setUnable,
    };
}

void CoinProtocol::init()
{
    queueCommands({0, 2, 0, 6, 0, 4, 0, 3});
}

void CoinProtocol::decode(const ReplyView &reply)
{
    switch (sentOffset()) {
    case Reset:
        return analysisReset(reply);
    case Setup:
        return analysisSetup(reply);
    case TubeStatus:
        return analysisTubeStatus(reply);
    case Poll:
        return analysisPoll(reply);
    case CoinType:
        return analysisType(reply);
    case Expansion:
        return decodeExpansion(reply);
    default:
        return;
    }
}

void CoinProtocol::decodeExpansion(const ReplyView &reply)
{
    switch (sentByte(1)) {
    case Identification:
        return analysisExpansionId(reply);
    case Payout:
        return analysisExpansionPayout(reply);
    default:
        return;
    }
}

void CoinProtocol::setPoll()
{
    sendCommand(Poll);
}

void CoinProtocol::analysisPoll(const ReplyView &reply)
{
    reportPayoutTakenUp();
    if (reply.length() <= 0)
        return countMissedPoll();
    if (reply.length() == 1)
        return analysisPollAck();

    printBytes("[coin_poll]", reply);
    m_repeated = m_lastPoll.repeatedBy(reply);
    const quint8 first = reply[0];
    // 0xC0 to 0xDF count as deposits too: some changers report theirs with bit 7 set.
    if (first & poll::deposited)
        return analysisDeposit(reply);
    if (first & poll::dispensedManually)
        return;
    if (first & poll::slug)
        return printLine("----------------Slug(jia bi)--------------");
    for (int i = 0; i < reply.dataSize(); ++i)
        analysisStatus(reply[i]);
}

void CoinProtocol::reportPayoutTakenUp()
{
    if (!m_payoutStarted)
        return;
    if (m_payoutAmount > 0) {
        storeAction(PayoutTakenUp);
        reportAndDropAction();
    }
    m_payoutStarted = false;
}

void CoinProtocol::countMissedPoll()
{
    if (!m_missedPolls.addAndCheckLost() || !m_active)
        return;
    m_active = false;
    storeState(false, false);
    removeFromRecord(recordkey::coinSupport);
    report();
}

void CoinProtocol::analysisPollAck()
{
    m_missedPolls.reset();
    if (m_payoutStarted || !m_payoutBusy)
        return;
    printLine("[coin_pill]:coinPayoutFinished");
    m_payoutBusy = false;
    storeAction(PayoutFinished);
    reportAndDropAction();
}

void CoinProtocol::analysisDeposit(const ReplyView &reply)
{
    const int routing = (reply[0] >> poll::routingShift) & poll::routingMask;
    if (routing > poll::routedToTube)
        return;
    const int coinType = reply[0] & poll::typeMask;
    quint16 value = m_coinTypes[static_cast<std::size_t>(coinType)].credit;
    if (!isDenomination(value) && !m_coinValues.isEmpty())
        value = mappedValue(coinType);
    const bool token = isToken(coinType);
    print("========= DEBUG: %s %d\n", token ? "TOKEN" : "EURO", value);
    m_action.insert(recordkey::value, value);
    m_action.insert(recordkey::isToken, token);
    m_action.insert(recordkey::num, coinType);
    storeAction(CoinDeposited);
    reportAndDropAction();
    setCMD(3);
}

bool CoinProtocol::isToken(int coinType) const
{
    const auto type = static_cast<std::size_t>(coinType);
    if (!isDenomination(m_coinTypes[type].credit * m_scalingFactor))
        return true;
    return type > 0 && m_coinTypes[type - 1].credit == m_coinTypes[type].credit;
}

quint16 CoinProtocol::mappedValue(int coinType) const
{
    const double entry = m_coinValues.value(QString::number(coinType)).toDouble();
    print("debug: %d\t%.2f\n", coinType, entry);
    if (entry == 0.0)
        return unknownCoinValue;
    const double cents = qBound(0.0, entry * 100.0, 4294967295.0);
    return static_cast<quint16>(static_cast<quint32>(cents));
}

void CoinProtocol::analysisStatus(quint8 status)
{
    const char *text = statusText(status);
    if (!text)
        print("default,");
    if (status == EscrowRequest && !m_payoutBusy)
        storeAction(LeverPressed);
    if (status == PayoutBusy) {
        m_payoutStarted = true;
        m_payoutBusy = true;
        storeAction(ChangerPayingOut);
    }
    if (text && !m_repeated)
        print("%s", text);
    if (status == WasReset) {
        m_active = true;
        init();
        insertIntoState(recordkey::active, true);
        storeState();
    }
    reportAndDropAction();
}

void CoinProtocol::setReset()
{
    sendCommand(Reset);
}

void CoinProtocol::analysisReset(const ReplyView &reply)
{
    if (reply.length() >= 2)
        printBytes("[coin_reset]", reply);
}

void CoinProtocol::setSetup()
{
    sendCommand(Setup);
}

void CoinProtocol::analysisSetup(const ReplyView &reply)
{
    print("[info]: coin_setup return: %d\n", reply.length() - 1);
    printBytes("[coin_setup]", reply, 0, reply.dataSize());
    if (reply.dataSize() < setup::credits)
        return;
    m_level = reply[setup::level];
    m_currencyCode = reply.readU16(setup::currency);
    m_scalingFactor = reply[setup::scalingFactor];
    m_decimalPlaces = reply[setup::decimalPlaces];
    storeCoinTypes(reply);
    insertIntoRecord(recordkey::level, m_level);
    insertIntoRecord(recordkey::factor, m_scalingFactor);
    insertIntoRecord(recordkey::currencyCode, m_currencyCode);
    insertIntoRecord(recordkey::coinSupport, m_coinSupport);
    report();
}

void CoinProtocol::storeCoinTypes(const ReplyView &reply)
{
    const quint16 routing = reply.readU16(setup::routing);
    for (std::size_t i = 0; i < m_coinTypes.size(); ++i)
        m_coinTypes[i].routesToTube = (routing >> i) & 1;
    m_tubeCoinTypes = 0;
    m_coinSupport = {};
    const int reported = std::min(reply.dataSize() - setup::credits, coinTypes);
    for (int i = 0; i < reported; ++i) {
        auto &coinType = m_coinTypes[static_cast<std::size_t>(i)];
        coinType.credit = reply[setup::credits + i];
        m_tubeCoinTypes += coinType.routesToTube;
        m_coinSupport.append(QJsonObject{
            {recordkey::num, i},
            {recordkey::value, coinType.credit},
            {recordkey::tube, int(coinType.routesToTube)},
            {recordkey::realValue, m_scalingFactor * coinType.credit},
        });
    }
}

void CoinProtocol::setTubeStatus()
{
    sendCommand(TubeStatus);
}

void CoinProtocol::analysisTubeStatus(const ReplyView &reply)
{
    if (reply.length() < 4)
        return;
    for (int i = 0; i < m_coinSupport.size(); ++i) {
        QJsonObject coin = m_coinSupport.at(i).toObject();
        const int offset = tubestatus::counts + coin.value(recordkey::num).toInt();
        if (offset >= reply.dataSize())
            continue;
        coin.insert(recordkey::count, reply[offset]);
        m_coinSupport.replace(i, coin);
    }
    insertIntoRecord(recordkey::coinSupport, m_coinSupport);
    report();
}

void CoinProtocol::setType()
{
    const quint8 accepted = m_acceptCoins ? 0xFF : 0x00;
    sendCommand(CoinType, {accepted, accepted, 0xFF, 0xFF});
}

void CoinProtocol::setUnable()
{
    sendCommand(CoinType, {0x00, 0x00, 0x00, 0x00});
}

void CoinProtocol::analysisType(const ReplyView &reply)
{
    if (reply.length() > 1)
        printBytes("[coin_type]", reply);
    insertIntoState(recordkey::enable, m_acceptCoins);
    storeState();
    report();
}

void CoinProtocol::setDispense()
{
    sendCommand(Dispense, {fixedDispense});
}

void CoinProtocol::setExpansionId()
{
    sendCommand(Expansion, {Identification});
}

void CoinProtocol::analysisExpansionId(const ReplyView &reply)
{
    if (reply.length() <= 0)
        return;
    printBytes("[coin_expansion_id]", reply);
    for (std::size_t i = 0; i < m_manufacturer.size(); ++i)
        m_manufacturer[i] = reply[identification::manufacturer + int(i)];
    for (std::size_t i = 0; i < m_model.size(); ++i)
        m_model[i] = char(reply[identification::model + int(i)]);
    print("model = %.3s\n", m_model.data());
}

// Sent without feature bytes: changers in the field take the two bytes for "all features".
void CoinProtocol::setExpansionFeature()
{
    sendCommand(Expansion, {FeatureEnable});
}

void CoinProtocol::setExpansionPayout()
{
    if (m_tubeCoinTypes < 1) {
        m_payoutAmount = 0;
        storeAction(PayoutTakenUp);
        reportAndDropAction();
        return;
    }
    // One byte: at most 255 times the scaling factor leaves in one command.
    const int units = m_scalingFactor == 0 ? 0 : m_payoutAmount / m_scalingFactor;
    sendCommand(Expansion, {Payout, static_cast<quint8>(units)});
}

void CoinProtocol::analysisExpansionPayout(const ReplyView &reply)
{
    storeAction(ChangerPayingOut);
    printBytes("[coin_expansion_payout]", reply);
    m_payoutStarted = true;
}

void CoinProtocol::setExpansionPayoutStatus()
{
    sendCommand(Expansion, {PayoutStatus});
}
