#pragma once

#include "payment/moneybook.h"
#include "support/fakeclock.h"

#include "paymentmdb.h"

#include <QQueue>

#include <random>

namespace ledger {

/// Repeatable on every platform.
class Random
{
public:
    explicit Random(unsigned seed) : m_engine(seed) { }

    /// 0 to count - 1.
    int below(int count) { return int(m_engine() % unsigned(count)); }
    bool percent(int chance) { return below(100) < chance; }
    int oneOf(const QVector<int> &values) { return values.at(below(values.size())); }

private:
    std::mt19937 m_engine;
};

/// An event that a device reports.
struct Report
{
    int device = 0;
    int event = 0;
    int value = 0;
    bool token = false;
};

/// A cashless reader and the card in it, apart from the item: it acts on bytes only.
struct Reader
{
    enum State { Idle, Session, Requested, Approved, Withdrawn };
    State state = Idle;
    bool alwaysIdle = false;
    /// What an approved card was charged.
    int charged = 0;
    /// The amount that the next revalue command carries: one field, cleared by each reply.
    int revalueField = 0;
    /// Prices of the drinks whose success is on its way, and the amounts to be revalued.
    QQueue<int> results;
    QQueue<int> revalues;
    /// The request on its way was put into bytes after a free vend had changed the price.
    bool priceOverwritten = false;
};

/// Hands a reply to a device, or none. Most exchanges go without, so that decoders print nothing.
void answerExchange(BaseProtocol *device, QByteArray reply = {});

/// A vending machine with a payment item and devices of its own: money goes in and comes out as
/// the item's bytes say, and every event goes to the item and to the book.
class MoneyMachine
{
public:
    struct Settings
    {
        Rules rules;
        bool tubes = true;
        int limit = 0;
        QVector<int> alwaysIdle;
    };

    MoneyMachine(const Settings &settings, Random *random);

    // The customer. Devices that do not accept refuse the money.
    void insertCoin(int value, bool token);
    void insertUniversalToken();
    void insertBill(int value);
    void pressLever() { push({3, 14}); }
    void insertCard(int reader, int funds);
    void removeCard(int reader);

    // The user interface.
    void choose(int price);
    void cancel();
    void finish(int drinkState);
    void freeVend();
    void settle();
    void closeBus();
    PaymentMDB &item() { return m_item; }
    bool selling() const { return m_selling; }
    bool allowed() const { return m_allowed; }

    /// One exchange of a device, or one of its reports.
    void step();
    /// Until nothing is on its way.
    void runUntilQuiet();
    /// Sessions that are left open end, as their time-outs end them.
    void endSessions();

    /// What is wrong, empty if every amount is accounted for. Only when nothing is on its way.
    QString complaint();
    /// Money that went each way: coins paid, bills returned, revalued, charged to cards.
    std::array<qint64, 4> turnover() const;
    const MoneyBook &book() const { return m_book; }

private:
    void setUpChanger();
    void push(const Report &report) { m_reports[std::size_t(report.device)].enqueue(report); }
    void deliver(int device);
    void bookReport(const Report &report);
    void bookReaderReport(const Report &report);
    void collectRevalues();
    void compareCredit();
    QJsonObject record(const Report &report) const;

    // moneydevices.cpp
    void exchange(int device);
    int nextCommand(int device);
    void commandBuilt(int device, int number, int payoutBefore);
    void toDevice(int device, const QByteArray &command);
    void lose(int device, int number);
    void toChanger(const QByteArray &command);
    void payOut(int units);
    void toValidator(const QByteArray &command);
    void toReader(int number, const QByteArray &command);
    void decideRequest(int number);
    void vendResult(int number, bool success);
    void endSession(int number);
    bool quiet();

    Settings m_settings;
    Random *m_random;
    FakeClock m_clock;
    PaymentMDB m_item;
    MoneyBook m_book;
    std::array<QQueue<Report>, 4> m_reports;

    bool m_selling = false;
    bool m_allowed = false;
    QJsonObject m_published;

    // The changer.
    bool m_changerAccepts = true;
    bool m_payoutStarted = false;
    bool m_payoutBusy = false;
    int m_payoutToExpect = -1;
    // The validator.
    bool m_validatorAccepts = true;
    int m_escrow = 0;
    std::array<Reader, 2> m_readers;

    // Money as the devices count it.
    qint64 m_inserted = 0;
    qint64 m_paidOut = 0;
    qint64 m_returned = 0;
    qint64 m_revalued = 0;
    qint64 m_chargedToCards = 0;
    QString m_complaint;
};

} // namespace ledger
