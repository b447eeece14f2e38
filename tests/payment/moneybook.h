#pragma once

#include <QVector>

#include <array>

/// The rules of credit kept as a book, apart from the item: what should be held after each event,
/// and where money goes that is neither held, sold nor given back.
namespace ledger {

/// Ways in which the rules lose or create credit; docs/money.md explains them.
enum Cause {
    // The customer loses.
    TokensAtSettlement,
    TokensAtPayout,
    CoinsDuringPayout,
    PayoutRemainder,
    PayoutLimit,
    PayoutLost,
    ChangerShort,
    NoTubes,
    ReplacedBill,
    BillStacked,
    CoinBesideRevalue,
    RevalueCut,
    RevalueOverwritten,
    RevalueDenied,
    BusClosed,
    // The machine loses.
    PaidTwice,
    SpentWhilePaidOut,
    RevaluedTwice,
    BillReturnedAfterUse,
    DrinkWithoutPayment,
    // The machine loses, by card.
    CardPriceCut,
    CardPriceOverwritten,
    VendResultLost,
    CauseCount
};
const char *causeName(Cause cause);

struct Rules
{
    int factor = 1;
    bool more = false;
    bool storageBill = true;
    bool allowRevalue = false;
};

/// Amounts are in the currency's smallest unit.
class MoneyBook
{
public:
    struct Entry
    {
        int count = 0;
        qint64 amount = 0;
    };
    struct Credit
    {
        int token = 0;
        int coin = 0;
        int bill = 0;
        int universal = 0;
        /// The total as it was last computed.
        int total = 0;
    };

    explicit MoneyBook(const Rules &rules) : m_rules(rules) { }

    // Records, in the order in which the item gets them; each ends with published().
    void coin(int amount);
    void token(int amount);
    void universalToken();
    void billInEscrow(int value);
    void billStacked();
    void billReturned(int value);
    void lever();
    void payoutTakenUp();
    void sessionEvent(int reader) { m_sessionReader = reader; }
    void beginSession();
    void vendApproved() { m_cardSale = true; }
    void vendDenied();
    void sessionCancelled() { m_cardTouch = false; }
    void sessionEnded() { vendDenied(); }
    void displayRequest();
    void published();

    // Calls of the user interface.
    void saleStarted(int price);
    void saleCancelled();
    void settle();
    void drinkMade();
    void drinkFailed();
    void busClosed();

    // What the bus tells the devices, when it is put into bytes.
    /// The coins that the changer is to pay.
    int payout(int amount);
    void payoutWithoutTubes(int amount);

    void post(Cause cause, qint64 amount);

    const Credit &credit() const { return m_credit; }
    bool cardSale() const { return m_cardSale; }
    int price() const { return m_price; }
    int sessionReader() const { return m_sessionReader; }
    /// Credit that is still the customer's.
    qint64 held() const;
    qint64 moneyIn() const { return m_in; }
    qint64 sold() const { return m_sold; }
    int universalSold() const { return m_universalSold; }
    qint64 soldByCard() const { return m_soldByCard; }
    /// Sums of the causes.
    qint64 lost() const;
    qint64 created() const;
    qint64 createdByCard() const;
    const std::array<Entry, CauseCount> &causes() const { return m_causes; }

    /// A revaluation that the item asked a reader for.
    struct Revalue
    {
        int reader;
        int amount;
    };
    /// Those since the last call.
    QVector<Revalue> takeRevalues();

private:
    void moveCreditToCard();
    void charge();
    void takeCoins(int amount);
    void askForPayout();
    void endSale();
    qint64 sum(Cause first, Cause end) const;

    Rules m_rules;
    Credit m_credit;
    /// Part of the coins that the changer has paid already; it is held until the payout is over.
    int m_inPayout = 0;
    /// Payouts that wait to be put into bytes, and the coins that were used meanwhile.
    int m_payoutsWaiting = 0;
    int m_usedMeanwhile = 0;
    bool m_coinIsPayouting = false;

    int m_price = 0;
    bool m_selling = false;
    bool m_cardTouch = false;
    bool m_cardSale = false;
    bool m_vendSuccessSent = false;
    int m_sessionReader = -1;
    QVector<Revalue> m_revalues;

    qint64 m_in = 0;
    qint64 m_sold = 0;
    qint64 m_soldByCard = 0;
    int m_universalSold = 0;
    std::array<Entry, CauseCount> m_causes{};
};

} // namespace ledger
