#include "payment/moneymachine.h"

#include "support/stdoutcapture.h"

namespace ledger {

namespace {

constexpr int changerNo = 3;
constexpr int validatorNo = 2;
constexpr int pollNumber = 0;
constexpr int requestNumber = 9;

} // namespace

MoneyMachine::MoneyMachine(const Settings &settings, Random *random)
    : m_settings(settings), m_random(random), m_book(settings.rules)
{
    m_item.setting({{"useCashless1", false},
                    {"useCashless2", false},
                    {"useBill", false},
                    {"useCoin", false},
                    {"makeModel", int(settings.rules.more)},
                    {"isStorageBill", settings.rules.storageBill},
                    {"allowRevalue", settings.rules.allowRevalue},
                    {"storageMaxValue", settings.limit}});
    setUpChanger();
    QObject::connect(&m_item, &PaymentMDB::allowMakeChanged, [this] { m_allowed = m_selling; });
    QObject::connect(&m_item, &PaymentMDB::deviceInfoChanged,
                     [this](const QJsonObject &record) { m_published = record; });
    for (const int number : settings.alwaysIdle)
        m_readers[std::size_t(number)].alwaysIdle = true;
    for (const int number : {1, 0})
        push({number, 0});
    runUntilQuiet();
}

void MoneyMachine::setUpChanger()
{
    const StdoutCapture silence;
    CoinProtocol *const coin = m_item.mdbController()->coin();
    coin->setCMD(2);
    answerExchange(coin);
    QByteArray setup = QByteArray::fromHex("0309780000000001020500");
    setup[3] = char(m_settings.rules.factor);
    setup[6] = m_settings.tubes ? '\x07' : '\0';
    answerExchange(coin, setup);
}

void MoneyMachine::insertCoin(int value, bool token)
{
    if (!m_changerAccepts)
        return;
    m_inserted += value * m_settings.rules.factor;
    push({changerNo, 13, value, token});
}

void MoneyMachine::insertUniversalToken()
{
    if (m_changerAccepts)
        push({changerNo, 13, 255, true});
}

void MoneyMachine::insertBill(int value)
{
    if (!m_validatorAccepts || (m_escrow != 0 && !m_random->percent(20)))
        return;
    // A validator that takes a second bill has put the first one away.
    m_escrow = value;
    m_inserted += value;
    push({validatorNo, 10, value});
}

void MoneyMachine::insertCard(int reader, int funds)
{
    Reader &target = m_readers[std::size_t(reader)];
    if (target.state != Reader::Idle)
        return;
    target.state = Reader::Session;
    push({reader, 1, funds});
}

void MoneyMachine::removeCard(int reader)
{
    if (m_readers[std::size_t(reader)].state != Reader::Session)
        return;
    push({reader, 7});
    endSession(reader);
}

void MoneyMachine::choose(int price)
{
    m_selling = true;
    m_allowed = false;
    m_book.saleStarted(price);
    if (!m_item.setSellGoods({{"num", 7}, {"price", price}}))
        m_clock.advance(3300);
}

void MoneyMachine::cancel()
{
    m_selling = false;
    m_item.cancelGoods();
    m_book.saleCancelled();
}

void MoneyMachine::finish(int drinkState)
{
    const int price = m_book.price();
    if (drinkState == PaymentMDB::Drink_Success && m_book.cardSale())
        m_readers[std::size_t(m_book.sessionReader())].results.enqueue(price);
    m_item.makingFinish({{"num", 7}, {"price", price}, {"state", drinkState}});
    if (drinkState == PaymentMDB::Drink_Success)
        m_book.drinkMade();
    else if (drinkState == PaymentMDB::Drink_Fail)
        m_book.drinkFailed();
    else
        m_book.saleCancelled();
    m_selling = false;
    m_allowed = false;
}

void MoneyMachine::freeVend()
{
    for (int i = 0; i < 2; ++i) {
        const auto waiting = m_item.mdbController()->cashless(i)->pendingCommands();
        if (std::count(waiting.begin() + 1, waiting.end(), requestNumber) > 0)
            m_readers[std::size_t(i)].priceOverwritten = true;
    }
    m_item.makingFinish({{"num", 9}, {"price", 1}, {"state", 2}, {"vendCashType", 1}});
}

void MoneyMachine::settle()
{
    m_item.settleAccounts();
    m_book.settle();
}

void MoneyMachine::closeBus()
{
    m_item.closeMDB();
    m_book.busClosed();
}

void MoneyMachine::step()
{
    const int device = m_random->below(4);
    if (m_random->percent(50))
        exchange(device);
    else
        deliver(device);
}

bool MoneyMachine::quiet()
{
    for (int device = 0; device < 4; ++device) {
        if (!m_reports[std::size_t(device)].isEmpty())
            return false;
    }
    const auto onlyPolls = [](const auto &commands) {
        return commands.size() == 1 && commands.front() == pollNumber;
    };
    MdbController *const bus = m_item.mdbController();
    return !m_payoutStarted && onlyPolls(bus->coin()->pendingCommands())
        && onlyPolls(bus->bill()->pendingCommands())
        && onlyPolls(bus->cashless(0)->pendingCommands())
        && onlyPolls(bus->cashless(1)->pendingCommands());
}

void MoneyMachine::runUntilQuiet()
{
    do {
        for (int device = 0; device < 4; ++device) {
            exchange(device);
            deliver(device);
        }
    } while (!quiet());
    if (!m_selling)
        m_clock.advance(3300);
}

void MoneyMachine::endSessions()
{
    for (int number = 0; number < 2; ++number) {
        if (m_readers[std::size_t(number)].state != Reader::Idle)
            endSession(number);
    }
}

QString MoneyMachine::complaint()
{
    const auto demand = [this](qint64 actual, qint64 expected, const char *what) {
        if (actual != expected && m_complaint.isEmpty())
            m_complaint =
                QStringLiteral("%1: %2 instead of %3").arg(what).arg(actual).arg(expected);
    };
    demand(m_book.moneyIn(), m_inserted, "money put in");
    demand(m_paidOut + m_returned + m_revalued + m_book.sold() + m_book.held() + m_book.lost(),
           m_inserted + m_book.created(), "where the money went");
    demand(m_chargedToCards + m_book.createdByCard(), m_book.soldByCard(), "sold by card");
    return m_complaint;
}

std::array<qint64, 4> MoneyMachine::turnover() const
{
    return {m_paidOut, m_returned, m_revalued, m_chargedToCards};
}

void MoneyMachine::deliver(int device)
{
    if (m_reports[std::size_t(device)].isEmpty())
        return;
    const Report report = m_reports[std::size_t(device)].dequeue();
    bookReport(report);
    QMetaObject::invokeMethod(&m_item, "getDeviceInfo", Qt::DirectConnection,
                              Q_ARG(QJsonObject, record(report)));
    collectRevalues();
    if (report.event == 2 && report.device < 2)
        return;
    m_book.published();
    compareCredit();
}

void MoneyMachine::bookReport(const Report &report)
{
    if (report.device < 2)
        return bookReaderReport(report);
    switch (report.event) {
    case 10:
        return m_book.billInEscrow(report.value);
    case 11:
        return m_book.billStacked();
    case 12:
        return m_book.billReturned(report.value);
    case 13:
        if (report.token && report.value == 255)
            return m_book.universalToken();
        if (report.token)
            return m_book.token(report.value * m_settings.rules.factor);
        return m_book.coin(report.value * m_settings.rules.factor);
    case 14:
        return m_book.lever();
    case 16:
        return m_book.payoutTakenUp();
    default:
        return;
    }
}

void MoneyMachine::bookReaderReport(const Report &report)
{
    if (report.event != 0)
        m_book.sessionEvent(report.device);
    switch (report.event) {
    case 1:
        return m_book.beginSession();
    case 3:
        return m_book.vendApproved();
    case 4:
        return m_book.vendDenied();
    case 7:
        return m_book.sessionCancelled();
    case 8:
        return m_book.sessionEnded();
    case 9:
        return m_book.displayRequest();
    default:
        return;
    }
}

void MoneyMachine::compareCredit()
{
    const MoneyBook::Credit &credit = m_book.credit();
    const auto demand = [this](const char *key, int expected) {
        const int actual = m_published.value(QLatin1String(key)).toInt();
        if (actual != expected && m_complaint.isEmpty())
            m_complaint = QStringLiteral("%1 %2 instead of %3").arg(key).arg(actual).arg(expected);
    };
    demand("tokenValue", credit.token);
    demand("coinValue", credit.coin);
    demand("billValue", credit.bill);
    demand("universalCoinCount", credit.universal);
    demand("acceptValue", credit.total);
}

void MoneyMachine::collectRevalues()
{
    const auto revalues = m_book.takeRevalues();
    for (const MoneyBook::Revalue &revalue : revalues) {
        Reader &reader = m_readers[std::size_t(revalue.reader)];
        reader.revalueField = revalue.amount;
        reader.revalues.enqueue(revalue.amount);
    }
}

QJsonObject MoneyMachine::record(const Report &report) const
{
    const QJsonObject state{{"active", true}, {"enable", true}};
    QJsonObject record{{"num", report.device}, {"state", state}};
    if (report.device < 2) {
        record.insert("type", 0);
        record.insert("deviceAddress", 16);
        record.insert("aliwaysIdle", m_readers[std::size_t(report.device)].alwaysIdle);
    } else {
        record.insert("type", report.device == validatorNo ? 1 : 2);
        record.insert("factor", m_settings.rules.factor);
    }
    if (report.event != 0)
        record.insert("action",
                      QJsonObject{{"type", report.event},
                                  {"value", report.value},
                                  {"isToken", report.token},
                                  {"num", 2}});
    return record;
}

} // namespace ledger
