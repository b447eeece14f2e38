#pragma once

#include "causes.h"

#include <QJsonObject>

namespace soak {

/// What the item should hold, by its published rules, after each record and each call; in the
/// order in which the item itself got them. Amounts are in the currency's smallest unit.
class ItemBook
{
public:
    struct Rules
    {
        bool more = false;
        bool storageBill = true;
        /// Fixed value of a universal token; 0: it pays any drink.
        int tokenValue = 0;
    };
    struct Credit
    {
        int coin = 0;
        int token = 0;
        int bill = 0;
        int universal = 0;
    };
    /// A deposit that the item was told of.
    struct Deposit
    {
        int type = 0;
        int value = 0;
    };
    /// What happened to the credit of a bill.
    struct BillStep
    {
        enum Kind { Reported, Used, Closed };

        Kind kind = Reported;
        /// Reported: 10 in escrow, 11 stacked, 12 returned, and the value.
        int event = 0;
        int value = 0;
        /// The bill became coin credit at once.
        bool stored = true;
    };
    struct Sales
    {
        int byCash = 0;
        int byUniversalToken = 0;
        int byCard = 0;
        int failed = 0;
    };
    /// What a customer left for the comparison with the devices.
    struct Journal
    {
        QVector<Deposit> deposits;
        QVector<BillStep> bills;
        /// Amounts of the payouts that were asked for.
        QVector<int> payouts;
        /// Prices of the drinks that a card pays.
        QVector<int> cardSales;
    };

    ItemBook(const Rules &rules, CauseTable *causes) : m_rules(rules), m_causes(causes) { }

    void setRules(const Rules &rules) { m_rules = rules; }
    const Rules &rules() const { return m_rules; }

    /// A device record, as it was published.
    void record(const QJsonObject &record);

    // Calls of the user interface.
    void saleStarted(int price);
    void saleCancelled();
    void settle();
    void drinkMade();
    void drinkFailed();
    void saleEnded();
    void busClosed();

    const Credit &credit() const { return m_credit; }
    /// Credit that is still the customer's.
    qint64 held() const;
    qint64 sold() const { return m_sold; }
    qint64 soldByCard() const { return m_soldByCard; }
    int universalUsed() const { return m_sales.byUniversalToken; }
    const Sales &sales() const { return m_sales; }
    bool selling() const { return m_selling; }

    Journal takeJournal();

private:
    void coinRecord(const QJsonObject &record, const QJsonObject &action);
    void billRecord(const QJsonObject &action);
    void readerRecord(int event);
    void payoutTakenUp();
    void lever();
    void charge();
    void takeCoins(int amount);
    void askForPayout();

    Rules m_rules;
    CauseTable *m_causes;
    Credit m_credit;
    /// Part of the coins that a payout was asked for.
    int m_inPayout = 0;
    bool m_coinIsPayouting = false;
    bool m_selling = false;
    int m_price = 0;
    bool m_cardSale = false;
    bool m_vendSuccessSent = false;
    qint64 m_sold = 0;
    qint64 m_soldByCard = 0;
    Sales m_sales;
    Journal m_journal;
};

} // namespace soak
