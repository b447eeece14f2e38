#include "payment/moneymachine.h"

namespace ledger {

namespace {

constexpr int changerNo = 3;
constexpr int validatorNo = 2;
constexpr int pollNumber = 0;
constexpr int payoutNumber = 8;
constexpr int successNumber = 8;
constexpr int revalueNumber = 16;
constexpr int noReply = -4;

int word(const QByteArray &command, int offset)
{
    return quint8(command[offset]) * 256 + quint8(command[offset + 1]);
}

} // namespace

void answerExchange(BaseProtocol *device, QByteArray reply)
{
    const int length = reply.isEmpty() ? noReply : reply.size();
    reply.resize(40);
    device->analysisData(length, reply.data());
}

/// Sends the command that stands in the buffer, and lets the next one be built.
void MoneyMachine::exchange(int device)
{
    BaseProtocol *const protocol = m_item.mdbController()->device(device);
    const QByteArray command(protocol->getCodeBuf(), protocol->getCodeLen());
    const int sent = nextCommand(device);
    // Without tubes nothing is built for a payout: the bytes are those of the command before.
    const bool stale = device == changerNo && sent == payoutNumber && !m_settings.tubes;
    const bool lost = sent != pollNumber && m_random->percent(1);
    if (lost && !stale)
        lose(device, sent);
    else if (!stale)
        toDevice(device, command);
    // A reader's bare ACK to a vend result makes its session complete.
    const bool vendResult = !lost && device < validatorNo && sent >= 6 && sent <= 8;
    const int payoutBefore = m_item.mdbController()->coin()->payoutAmount();
    answerExchange(protocol, vendResult ? QByteArray(1, '\0') : QByteArray());
    commandBuilt(device, nextCommand(device), payoutBefore);
}

void MoneyMachine::toDevice(int device, const QByteArray &command)
{
    if (device == changerNo)
        toChanger(command);
    else if (device == validatorNo)
        toValidator(command);
    else
        toReader(device, command);
}

/// A command that did not get through is dropped, and what it was to bring about with it.
void MoneyMachine::lose(int device, int number)
{
    if (device == changerNo && number == payoutNumber) {
        m_book.post(PayoutLost, m_payoutToExpect);
        m_payoutStarted = true;
    }
    if (device >= validatorNo)
        return;
    Reader &reader = m_readers[std::size_t(device)];
    if (number == revalueNumber) {
        m_book.post(RevalueDenied, reader.revalues.dequeue());
        reader.revalueField = 0;
    } else if (number == successNumber) {
        m_book.post(VendResultLost, reader.results.dequeue());
    }
}

int MoneyMachine::nextCommand(int device)
{
    MdbController *const bus = m_item.mdbController();
    switch (device) {
    case changerNo:
        return bus->coin()->pendingCommands().front();
    case validatorNo:
        return bus->bill()->pendingCommands().front();
    default:
        return bus->cashless(device)->pendingCommands().front();
    }
}

/// The builders take the amounts from the item's fields at this moment.
void MoneyMachine::commandBuilt(int device, int number, int payoutBefore)
{
    if (device == changerNo && number == payoutNumber) {
        if (m_settings.tubes) {
            m_payoutToExpect = m_book.payout(payoutBefore);
        } else {
            m_book.payoutWithoutTubes(payoutBefore);
            push({changerNo, 16});
        }
    }
    if (device < 2 && number == revalueNumber) {
        Reader &reader = m_readers[std::size_t(device)];
        const int asked = reader.revalues.dequeue();
        const int amount = reader.revalueField % 65536;
        m_book.post(RevalueOverwritten, asked - reader.revalueField);
        m_book.post(RevalueCut, reader.revalueField - amount);
        reader.revalues.prepend(amount);
    }
}

void MoneyMachine::toChanger(const QByteArray &command)
{
    const quint8 offset = quint8(command[0]) & 7;
    if (offset == 4)
        m_changerAccepts = command[1] != '\0';
    if (offset == 7 && command[1] == '\x02')
        return payOut(quint8(command[2]));
    if (offset != 3 || !m_payoutStarted)
        return;
    if (m_item.mdbController()->coin()->payoutAmount() > 0)
        push({changerNo, 16});
    push({changerNo, m_payoutBusy ? 15 : 3});
    m_payoutStarted = m_payoutBusy;
    m_payoutBusy = false;
}

void MoneyMachine::payOut(int units)
{
    const int asked = units * m_settings.rules.factor;
    if (asked != m_payoutToExpect && m_complaint.isEmpty())
        m_complaint = QStringLiteral("payout of %1, not %2").arg(asked).arg(m_payoutToExpect);
    // Now and then the tubes run empty.
    const int missing = m_random->percent(3) ? m_random->below(units + 1) : 0;
    const int paid = asked - missing * m_settings.rules.factor;
    m_book.post(ChangerShort, asked - paid);
    m_paidOut += paid;
    m_payoutStarted = true;
    m_payoutBusy = m_random->percent(50);
}

void MoneyMachine::toValidator(const QByteArray &command)
{
    const quint8 offset = quint8(command[0]) & 7;
    if (offset == 4)
        m_validatorAccepts = command[2] != '\0';
    if (offset != 5 || m_escrow == 0)
        return;
    // Now and then a bill cannot be stacked and comes back.
    const bool stacked = command[1] == '\x0f' && !m_random->percent(2);
    if (!stacked)
        m_returned += m_escrow;
    push({validatorNo, stacked ? 11 : 12, m_escrow});
    m_escrow = 0;
}

void MoneyMachine::toReader(int number, const QByteArray &command)
{
    Reader &reader = m_readers[std::size_t(number)];
    const quint8 offset = quint8(command[0]) & 7;
    if (offset == 5) {
        const int amount = word(command, 2);
        if (amount != reader.revalues.dequeue() && m_complaint.isEmpty())
            m_complaint = QStringLiteral("revalued %1").arg(amount);
        const bool taken = reader.state == Reader::Session && m_random->percent(80);
        if (taken)
            m_revalued += amount;
        else
            m_book.post(RevalueDenied, amount);
        reader.revalueField = 0;
    }
    if (offset == 2 && reader.state == Reader::Requested)
        return decideRequest(number);
    if (offset != 3)
        return;
    switch (command[1]) {
    case 0x00:
        if (reader.state != Reader::Session && !(reader.state == Reader::Idle && reader.alwaysIdle))
            return;
        reader.state = Reader::Requested;
        reader.charged = word(command, 2);
        return push({number, 2});
    case 0x01:
        if (reader.state != Reader::Requested && reader.state != Reader::Approved)
            return;
        push({number, 4});
        return endSession(number);
    case 0x02:
        return vendResult(number, true);
    case 0x03:
        return vendResult(number, false);
    case 0x04:
        return reader.state == Reader::Idle ? void() : endSession(number);
    default:
        return;
    }
}

void MoneyMachine::decideRequest(int number)
{
    Reader &reader = m_readers[std::size_t(number)];
    if (m_random->percent(30))
        return;
    if (m_random->percent(80)) {
        reader.state = Reader::Approved;
        push({number, 3});
        return;
    }
    push({number, 4});
    endSession(number);
}

void MoneyMachine::vendResult(int number, bool success)
{
    Reader &reader = m_readers[std::size_t(number)];
    const int price = success ? reader.results.dequeue() : 0;
    if (reader.state != Reader::Approved) {
        m_book.post(VendResultLost, price);
        return;
    }
    if (success) {
        m_chargedToCards += reader.charged;
        const Cause cause = reader.priceOverwritten ? CardPriceOverwritten : CardPriceCut;
        m_book.post(cause, price - reader.charged);
        if (m_random->percent(50))
            push({number, 9});
    }
    reader.state = Reader::Withdrawn;
    reader.priceOverwritten = false;
}

void MoneyMachine::endSession(int number)
{
    m_readers[std::size_t(number)].state = Reader::Idle;
    m_readers[std::size_t(number)].priceOverwritten = false;
    push({number, 8});
}

} // namespace ledger
