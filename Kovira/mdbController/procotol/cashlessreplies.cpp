#include "cashlessprotocol.h"
#include "protocollog.h"

using namespace mdb::cashless;
using protocollog::print;
using protocollog::printBytes;
using protocollog::printLine;

namespace {

enum Action {
    BeginSessionAction = 1,
    VendRequestAck = 2,
    VendSuccessAction = 3,
    VendDeniedAction = 4,
    CancelSessionAction = 7,
    EndSessionAction = 8,
    DisplayReqAction = 9,
};

/// So many bare ACKs in a row from a reader that is not enabled make the master reset it.
constexpr int acksBeforeReset = 11;

} // namespace

void CashlessProtocol::decode(const ReplyView &reply)
{
    const int offset = sentOffset();
    const quint8 subCommand = sentByte(1);
    if (offset == Reset)
        return analysisReset(reply);
    if (offset == Setup && subCommand == Configuration)
        return analysisSetUp(reply);
    if (offset == Vend && subCommand == VendRequest)
        return analysisVendRequest(reply);
    if (offset == Reader && subCommand == Enable)
        return analysisEnable(reply);
    if (offset == Revalue && subCommand == RevalueRequest)
        return analysisRevalue(reply);
    if (offset == Expansion && subCommand == RequestId)
        return analysisRequestId(reply);
    analysisPoll(reply);
}

void CashlessProtocol::analysisPoll(const ReplyView &reply)
{
    if (reply.length() <= 0)
        return countMissedPoll();
    if (reply.length() > 1)
        return analysisMessage(reply);
    m_missedPolls.reset();
    if (reply[0] == mdb::ack)
        analysisPollAck();
}

void CashlessProtocol::countMissedPoll()
{
    m_ackCount = 0;
    if (!m_missedPolls.addAndCheckLost() || !m_active)
        return;
    m_active = false;
    m_enable = false;
    m_isInit = false;
    storeState(m_active, m_enable);
    report();
}

void CashlessProtocol::analysisPollAck()
{
    ++m_ackCount;
    if (m_completePending) {
        m_completePending = false;
        setCMD(2);
    }
    if (m_ackCount < acksBeforeReset)
        return;
    m_ackCount = 0;
    if (m_active && m_enable)
        return;
    m_isInit = false;
    setCMD(1);
}

void CashlessProtocol::analysisMessage(const ReplyView &reply)
{
    switch (reply[0]) {
    case JustReset:
        return onJustReset();
    case ReaderConfiguration:
        return onReaderConfiguration(reply);
    case DisplayRequest:
        return onDisplayRequest(reply);
    case BeginSession:
        return onBeginSession(reply);
    case SessionCancelRequest:
        return onSessionCancelRequest();
    case VendApproved:
        return onVendApproved();
    case VendDenied:
        return onVendDenied();
    case EndSession:
        return onEndSession();
    case Cancelled:
        return;
    case PeripheralId:
        return onPeripheralId(reply);
    case OutOfSequence:
        return onOutOfSequence(reply);
    case RevalueApproved:
        return printLine("------------MDB_REPLY_REVALUE_APPROVED ----------------");
    case RevalueDenied:
        return printLine("------------MDB_REPLY_REVALUE_DENIED ----------------");
    case RevalueLimit:
        return printLine("------------MDB_REPLY_REVALUE_LIMIT ----------------");
    default:
        return print("------------rx_buf[0]=0x%x ----------------\n", reply[0]);
    }
}

void CashlessProtocol::onJustReset()
{
    printLine("-------------MDB_REPLY_JUST_RESET---------------");
    print("-------------isInit  %d---------------\n", m_isInit);
    if (m_isInit)
        return;
    setItemPrice(0);
    m_isInit = true;
    m_active = true;
    init();
    insertIntoState(recordkey::active, true);
    storeState();
    removeFromRecord(recordkey::outOfSequence);
    report();
}

void CashlessProtocol::onReaderConfiguration(const ReplyView &reply)
{
    printLine("------------MDB_REPLY_READER_CFG ----------------");
    printBytes("[cashless_setup]", reply);
    m_level = reply[configuration::level];
    if (m_inInitSequence)
        initStep2();
    print("level: %d\n", m_level);
    storeCountryCode(reply);
    insertIntoRecord(recordkey::level, m_level);
    insertIntoRecord(recordkey::countryCode, m_countryCode);
    // Level and country code stand in for the manufacturer until the reader identifies itself.
    storeManufacturer(reply);
    report();
}

void CashlessProtocol::storeCountryCode(const ReplyView &reply)
{
    m_countryCode = QStringLiteral("%1%2H")
                        .arg(reply[configuration::country], 0, 16)
                        .arg(reply[configuration::country + 1], 0, 16);
}

void CashlessProtocol::storeManufacturer(const ReplyView &reply)
{
    for (std::size_t i = 0; i < 3; ++i)
        m_identity[i] = static_cast<char>(reply[identification::manufacturer + int(i)]);
    insertIntoRecord(recordkey::manuInfo, manufacturerText());
}

// Not cut after the three bytes: the text runs on into serial number and model.
QString CashlessProtocol::manufacturerText() const
{
    const auto length = qstrnlen(m_identity.data(), uint(m_identity.size()));
    return QString::fromUtf8(m_identity.data(), int(length));
}

/// Options are asked for from level 3 readers only.
void CashlessProtocol::storeAlwaysIdle(const ReplyView &reply, const char *logPrefix)
{
    if (m_level != 3)
        return;
    const quint8 options = reply[identification::options];
    print("%s Always Idle 0x%x\n", logPrefix, options);
    m_alwaysIdle = (options & optionAlwaysIdle) != 0;
    insertIntoRecord(recordkey::alwaysIdle, m_alwaysIdle);
}

void CashlessProtocol::onDisplayRequest(const ReplyView &reply)
{
    print("===[MDB DISPLAY REQUEST]: %s\n", reply.textFrom(display::text).constData());
    storeAction(DisplayReqAction);
    report();
}

void CashlessProtocol::onBeginSession(const ReplyView &reply)
{
    printLine("-------------begin session---------------");
    if (m_sessionState != Enabled) {
        print("Cashless status error (%d).\n", m_sessionState);
        setCMD(1);
        return;
    }
    m_sessionState = InSession;
    const quint16 funds = reply.readU16(session::funds);
    const bool knowsPaymentType = reply.length() > 8;
    m_action.insert(
        recordkey::cardType,
        int(knowsPaymentType && (reply[session::paymentType] & session::paymentTypeMask) != 0));
    m_action.insert(recordkey::value, funds >= session::unknownFunds ? 0 : funds);
    storeAction(BeginSessionAction);
    reportAndDropAction();
}

void CashlessProtocol::onSessionCancelRequest()
{
    printLine("-------------SESSION CANCEL---------------");
    m_sessionState = Enabled;
    storeAction(CancelSessionAction);
    reportAndDropAction();
    setCMD(2);
    setItemPrice(0);
}

void CashlessProtocol::onVendApproved()
{
    printLine("-------------vend approved-----start make coffee----------");
    storeAction(VendSuccessAction);
    reportAndDropAction();
}

// From here to the end of the session the action stays in the record: every later report of this
// reader carries it until the next event. User interfaces rely on it; so for the display request.
void CashlessProtocol::onVendDenied()
{
    printLine("-------------vend denied---------------");
    m_sessionState = Enabled;
    storeAction(VendDeniedAction);
    report();
    queueCommands({2, 0});
    setItemPrice(0);
}

void CashlessProtocol::onEndSession()
{
    printLine("-------------end session---------------");
    m_sessionState = Enabled;
    storeAction(EndSessionAction);
    report();
    setItemPrice(0);
}

void CashlessProtocol::onPeripheralId(const ReplyView &reply)
{
    printLine("------------MDB_REPLY_PERIPHERIAL_ID ----------------");
    printBytes("MDB_REPLY_PERIPHERIAL_ID ", reply);
    for (std::size_t i = 3; i < m_identity.size(); ++i)
        m_identity[i] = static_cast<char>(reply[identification::manufacturer + int(i)]);
    m_softwareVersion = reply.readU16(identification::softwareVersion);
    insertIntoRecord(recordkey::level, m_level);
    storeAlwaysIdle(reply, "MDB_REPLY_PERIPHERIAL_ID");
    storeManufacturer(reply);
    report();
}

void CashlessProtocol::onOutOfSequence(const ReplyView &reply)
{
    printLine("------------MDB_REPLY_CMD_OUT_SEQUENCE ----------------");
    const quint8 status = reply[outofsequence::status];
    if (status == outofsequence::vend)
        return;
    printLine("------------emit  gOutOfSequence ----------------");
    print("OutOfSequence = %d\n", status);
    insertIntoRecord(recordkey::outOfSequence, 1);
    report();
    if (status == outofsequence::inactive || status == outofsequence::disabled)
        setCMD(1);
}

void CashlessProtocol::analysisSetUp(const ReplyView &reply)
{
    printBytes("analysisSetUp() [cashless_setup]", reply, 1);
    if (reply.length() < 9)
        return;
    m_level = reply[configuration::level];
    storeCountryCode(reply);
    insertIntoRecord(recordkey::level, m_level);
    report();
    if (m_inInitSequence)
        initStep2();
}

void CashlessProtocol::analysisRequestId(const ReplyView &reply)
{
    if (reply.length() < 1)
        return;
    printBytes("[cashless_request_id]", reply);
    insertIntoRecord(recordkey::level, m_level);
    storeAlwaysIdle(reply, "analysisRequestId");
    storeManufacturer(reply);
    insertIntoRecord(recordkey::countryCode, m_countryCode);
    report();
}

void CashlessProtocol::analysisEnable(const ReplyView &reply)
{
    m_isInit = false;
    if (reply.length() > 0 && reply[0] == mdb::ack) {
        m_sessionState = Enabled;
        m_active = true;
        m_enable = true;
        storeState(m_active, m_enable);
        report();
    }
    printBytes("[mdb_enable]", reply);
}

void CashlessProtocol::analysisReset(const ReplyView &reply)
{
    if (reply.length() > 0 && reply[0] == mdb::ack) {
        m_sessionState = Inactive;
        m_active = false;
        m_enable = false;
        storeState(m_active, m_enable);
        report();
    }
    printBytes("[mdb_reset]", reply);
}

void CashlessProtocol::analysisVendRequest(const ReplyView &reply)
{
    if (reply.length() <= 0)
        return;
    if (reply[0] == mdb::ack) {
        m_sessionState = VendRequested;
        storeAction(VendRequestAck);
        reportAndDropAction();
    } else if (reply[0] == VendApproved) {
        storeAction(VendSuccessAction);
        reportAndDropAction();
    }
    printBytes("[vend req]", reply);
}

void CashlessProtocol::analysisRevalue(const ReplyView &reply)
{
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_sale.revalueAmount = 0;
    }
    printBytes("[cashless_revalue]", reply);
}
