#include "audit.h"

#include <QtTest>

#include <functional>

using namespace soak;
using mdbsim::Exchange;
using mdbsim::FaultKind;
using mdbsim::Reply;

namespace {

/// The books of a machine, and what the devices and the item are made to report to them.
struct Books
{
    explicit Books(bool reportsLast = true)
        : item({}, &causes), line(reportsLast, reportsLast, &causes), audit(&item, &line, &causes)
    {
    }

    void insertCoin(int type, int value)
    {
        inserted += value;
        line.event(
            {{"device", "coin"}, {"event", "coinInserted"}, {"type", type}, {"value", value}});
    }
    void insertBill(int type, int value)
    {
        billsInserted += value;
        line.event(
            {{"device", "bill"}, {"event", "billInEscrow"}, {"type", type}, {"value", value}});
    }
    void returnBill(int type, int value)
    {
        returned += value;
        line.event(
            {{"device", "bill"}, {"event", "billReturned"}, {"type", type}, {"value", value}});
    }
    void payOut(int asked, int paid, const char *reason)
    {
        paidOut += paid;
        line.event({{"device", "coin"}, {"event", "coinPaid"}, {"value", paid}});
        line.event({{"device", "coin"},
                    {"event", "payoutFinished"},
                    {"asked", asked},
                    {"paid", paid},
                    {"reason", reason}});
    }
    void exchange(const char *device, const char *block, const Reply &reply,
                  Exchange::Outcome outcome, FaultKind fault = FaultKind::None)
    {
        Exchange exchange;
        exchange.device = device;
        exchange.block = QByteArray::fromHex(block);
        exchange.reply = reply;
        exchange.outcome = outcome;
        exchange.fault = fault;
        if (reply.kind == Reply::Kind::Data && outcome != Exchange::Outcome::Silent)
            exchange.sent =
                reply.data + char(std::accumulate(reply.data.begin(), reply.data.end(), 0));
        line.exchange(exchange);
    }
    void poll(const char *device, const char *reply, Exchange::Outcome outcome)
    {
        exchange(device, qstrcmp(device, "coin") == 0 ? "0B" : "33",
                 Reply::block(QByteArray::fromHex(reply)), outcome);
    }
    void record(int deviceType, const QJsonObject &action)
    {
        item.record({{"type", deviceType}, {"factor", 5}, {"action", action}});
    }
    void deposit(int type, int credit)
    {
        record(2, {{"type", 13}, {"value", credit}, {"num", type}, {"isToken", false}});
    }
    void takenUp() { record(2, {{"type", 16}}); }
    void approve() { record(0, {{"type", 3}}); }
    void charge(int amount)
    {
        charged += amount;
        line.event({{"device", "cashless1"}, {"event", "vendSucceeded"}, {"value", amount}});
    }

    QStringList run()
    {
        const ItemBook::Credit &credit = item.credit();
        const QJsonObject coin = {{"insertedValue", inserted}, {"paidOutValue", paidOut}};
        const QJsonObject bill = {{"insertedValue", billsInserted}, {"returnedValue", returned}};
        return audit.run({{{"coin", coin},
                           {"bill", bill},
                           {"cashless1", QJsonObject{{"chargedValue", charged}}}},
                          {{"coinValue", credit.coin + hidden},
                           {"tokenValue", credit.token},
                           {"billValue", credit.bill},
                           {"acceptValue", credit.coin + credit.token + credit.bill}},
                          lineTouched});
    }

    CauseTable causes;
    ItemBook item;
    LineBook line;
    Audit audit;
    int inserted = 0;
    int paidOut = 0;
    int billsInserted = 0;
    int returned = 0;
    int charged = 0;
    bool lineTouched = false;
    /// Credit that the item shows and does not have.
    int hidden = 0;
};

using Story = std::function<void(Books *)>;
using Outcome = Exchange::Outcome;

void creditCoin(Books *books)
{
    books->insertCoin(3, 50);
    books->poll("coin", "5305", Outcome::Acked);
    books->deposit(3, 10);
}

void askForPayout(Books *books)
{
    creditCoin(books);
    books->item.settle();
}

void sellByCard(Books *books)
{
    books->item.saleStarted(150);
    books->approve();
    books->item.drinkMade();
}

} // namespace

Q_DECLARE_METATYPE(Story)

/// The comparison of the soak: what is explained, and what must not be.
class TestAudit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void explained_data();
    void explained();
    void unexplained_data();
    void unexplained();
};

void TestAudit::explained_data()
{
    QTest::addColumn<Story>("story");
    QTest::addColumn<int>("cause");
    QTest::addColumn<int>("amount");
    const auto row = [](const char *name, int cause, int amount, const Story &story) {
        QTest::newRow(name) << story << cause << amount;
    };
    row("coin repeated after a lost ACK", CoinReportRepeated, -50, [](Books *books) {
        books->insertCoin(3, 50);
        for (const Outcome outcome : {Outcome::AckLost, Outcome::Acked}) {
            books->poll("coin", "5305", outcome);
            books->deposit(3, 10);
        }
    });
    row("second coin of one reply", CoinReportJoined, 100, [](Books *books) {
        books->insertCoin(3, 50);
        books->insertCoin(4, 100);
        books->poll("coin", "53055405", Outcome::Acked);
        books->deposit(3, 10);
    });
    row("coin before a reset", CoinReportDroppedByReset, 50, [](Books *books) {
        books->insertCoin(3, 50);
        books->line.event({{"device", "coin"}, {"event", "reset"}});
    });
    row("payout command without an answer", PayoutLost, 50, [](Books *books) {
        askForPayout(books);
        books->exchange("coin", "0F020A", Reply::silence(), Outcome::Silent,
                        FaultKind::WrongModeBit);
        books->takenUp();
    });
    row("tubes run empty", ChangerShort, 30, [](Books *books) {
        askForPayout(books);
        books->exchange("coin", "0F020A", Reply::ack(), Outcome::Answered);
        books->takenUp();
        books->payOut(50, 20, "empty");
    });
    row("coin during a payout", CoinsDuringPayout, 50, [](Books *books) {
        askForPayout(books);
        creditCoin(books);
        books->exchange("coin", "0F020A", Reply::ack(), Outcome::Answered);
        books->payOut(50, 50, "done");
        books->takenUp();
    });
    row("bill returned by a reset", BillGoneUnreported, -500, [](Books *books) {
        books->insertBill(0, 500);
        books->poll("bill", "90", Outcome::Acked);
        books->record(1, {{"type", 10}, {"value", 500}});
        books->returnBill(0, 500);
        books->line.event({{"device", "bill"}, {"event", "reset"}});
    });
    row("vend success that nobody heard", VendResultLost, -150, [](Books *books) {
        sellByCard(books);
        books->exchange("cashless1", "13020001", Reply::silence(), Outcome::Silent);
    });
}

void TestAudit::explained()
{
    QFETCH(Story, story);
    QFETCH(int, cause);
    QFETCH(int, amount);

    Books books;
    story(&books);
    const QStringList complaints = books.run();
    QVERIFY2(complaints.isEmpty(), qPrintable(complaints.join('\n')));
    QCOMPARE(books.causes.count(), 1);
    QCOMPARE(books.causes.at(Cause(cause)).count, 1);
    QCOMPARE(books.causes.at(Cause(cause)).amount, amount);
}

void TestAudit::unexplained_data()
{
    QTest::addColumn<Story>("story");
    QTest::addColumn<QString>("complaint");
    const auto row = [](const char *name, const char *complaint, const Story &story) {
        QTest::newRow(name) << story << QString(complaint);
    };
    const char *otherDeposits = "the item's deposits are not those that the changer reported";
    row("coin counted twice", otherDeposits, [](Books *books) {
        creditCoin(books);
        books->deposit(3, 10);
    });
    row("coin that was acknowledged and not counted", otherDeposits, [](Books *books) {
        books->insertCoin(3, 50);
        books->poll("coin", "5305", Outcome::Acked);
    });
    row("coin that was never reported", "a coin of type 3 was never reported",
        [](Books *books) { books->insertCoin(3, 50); });
    row("coin of another value", "value of a coin of type 3: 100 instead of 50", [](Books *books) {
        books->insertCoin(3, 50);
        books->poll("coin", "5305", Outcome::Acked);
        books->deposit(3, 20);
    });
    row("credit shown that is not there", "published coinValue: 55 instead of 50",
        [](Books *books) {
            creditCoin(books);
            books->hidden = 5;
        });
    row("payout that was never sent", "payout lost on the line: 50 without a reason",
        [](Books *books) {
            askForPayout(books);
            books->takenUp();
        });
    row("payout of another amount", "a payout of 45 instead of 50", [](Books *books) {
        askForPayout(books);
        books->exchange("coin", "0F0209", Reply::ack(), Outcome::Answered);
        books->payOut(45, 45, "done");
        books->takenUp();
    });
    row("payout that nobody asked for", "a payout of 50 that nobody asked for", [](Books *books) {
        creditCoin(books);
        books->exchange("coin", "0F020A", Reply::ack(), Outcome::Answered);
        books->payOut(50, 50, "done");
    });
    row("bill that was never reported", "a bill of 500: 500 without a reason",
        [](Books *books) { books->insertBill(0, 500); });
    row("vend success without a drink", "a vend success without a drink", [](Books *books) {
        books->charge(150);
        books->exchange("cashless1", "13020001", Reply::ack(), Outcome::Answered);
    });
    row("vend success that was never sent",
        "vend result lost, or at a reader that approved nothing: -150 without a reason",
        sellByCard);
}

void TestAudit::unexplained()
{
    QFETCH(Story, story);
    QFETCH(QString, complaint);

    Books books;
    story(&books);
    const QStringList complaints = books.run();
    QVERIFY2(complaints.contains(complaint), qPrintable(complaints.join('\n')));
}

QTEST_GUILESS_MAIN(TestAudit)
#include "tst_audit.moc"
