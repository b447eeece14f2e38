#include "cashlessscripts.h"

namespace {

const QByteArray strict = R"({"strict": true})";

} // namespace

/// Sessions of a CashlessReader, cash sales and revaluation.
class TestCashlessSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void beginAndEnd_data();
    void beginAndEnd() { playRow(); }
    void cashSales_data();
    void cashSales() { playRow(); }
    void revaluations_data();
    void revaluations() { playRow(); }
};

void TestCashlessSession::beginAndEnd_data()
{
    addScriptColumns();
    row("level 3 begins with 10 bytes", "{}", enabled + R"(
            ! tapCard funds=500 paymentType=64 mediaId=305419896
            = readerState="enabled"
            12 -> 03 01 F4 12 34 56 78 40 00 00
            = readerState="session idle"
        )");
    row("level 2 begins with 10 bytes", R"({"level": 2})", enabled + R"(
            ! tapCard funds=500
            12 -> 03 01 F4 FF FF FF FF 00 00 00
        )");
    row("level 1 begins with 3 bytes", R"({"level": 1})", enabled + R"(
            ! tapCard funds=500
            12 -> 03 01 F4
        )");
    row("3 bytes for a level 1 machine", "{}", R"(
            12 -> 00
            > 11 00 01 10 02 01
            11 01 FF FF 00 00 -> ack
            14 01 -> ack
            ! tapCard funds=500
            12 -> 03 01 F4
        )");
    row("unknown funds", R"({"level": 1})", enabled + R"(
            ! tapCard
            12 -> 03 FF FF
            = funds=65535
        )");
    row("end of session at once", "{}", inSession + R"(
            13 04 -> 07
            = readerState="enabled"
            = !funds
            12 -> ack
        )");
    row("end of session by POLL", R"({"sessionCompleteDirect": false})", inSession + R"(
            13 04 -> ack
            = readerState="session idle"
            13 04 -> ack
            12 -> 07
            = readerState="enabled"
            12 -> ack
        )");
    row("cancelled session that ends itself",
        R"({"endsCancelledSession": true, "joinedEvents": true})", inSession + R"(
            ! pressCancel
            12 -> 04 07
            = readerState="enabled"
            = !funds
            12 -> ack
        )");
    row("nothing is vended once the session is complete",
        R"({"sessionCompleteDirect": false, "strict": true})", inSession + R"(
            13 04 -> ack
            13 00 00 96 00 07 -> ack
            12 -> 0B 04
        )");
    row("nothing is revalued once the session is complete",
        R"({"sessionCompleteDirect": false, "strict": true})", inSession + R"(
            13 04 -> ack
            15 00 00 96 -> ack
            12 -> 0B 04
        )");
    row("a second session", "{}", inSession + R"(
            13 04 -> 07
            ! tapCard funds=20
            12 -> 03 00 14 FF FF FF FF 00 00 00
            = funds=20
        )");
    row("events of a session", R"({"scale": 10})", enabled + R"(
            * enabled
            ! tapCard funds=500
            * sessionOpened funds=500 value=5000
            > 12
            13 04 -> 07
            * sessionEnded
            * none
        )");
    row("events of a session with unknown funds", "{}", enabled + R"(
            * enabled
            ! tapCard
            * sessionOpened funds=65535
        )");
}

void TestCashlessSession::cashSales_data()
{
    addScriptColumns();
    row("while enabled", strict, enabled + R"(
            * enabled
            13 05 00 96 00 07 -> ack
            * cashSaleRecorded price=150 value=150 item=7 flags=[]
            = cashSales=[{"price":150,"value":150,"item":7,"flags":[]}]
            = chargedValue=0
        )");
    row("while disabled", strict, setUp + R"(
            13 05 00 96 00 07 -> ack
            = cashSales=[{"price":150,"value":150,"item":7,"flags":[]}]
        )");
    row("in a session", strict, inSession + R"(
            13 05 00 96 00 07 -> ack
            = readerState="session idle"
            = cashSales=[{"price":150,"value":150,"item":7,"flags":[]}]
        )");
    row("free", "{}", enabled + R"(
            13 05 00 96 80 07 -> ack
            = cashSales=[{"price":150,"value":150,"item":7,"flags":["free"]}]
        )");
    row("test", "{}", enabled + R"(
            13 05 00 96 41 07 -> ack
            = cashSales=[{"price":150,"value":150,"item":263,"flags":["test"]}]
        )");
    row("negative", "{}", enabled + R"(
            13 05 00 96 20 07 -> ack
            = cashSales=[{"price":150,"value":150,"item":7,"flags":["negative"]}]
        )");
    row("token", R"({"scale": 10})", enabled + R"(
            13 05 00 96 10 07 -> ack
            = cashSales=[{"price":150,"value":1500,"item":7,"flags":["token"]}]
        )");
    row("two", "{}", enabled + R"(
            13 05 00 01 00 01 -> ack
            13 05 00 02 00 02 -> ack
            = cashSales=[{"price":1,"value":1,"item":1,"flags":[]},\
            {"price":2,"value":2,"item":2,"flags":[]}]
        )");
    row("strict: not offered", R"({"strict": true, "cashSale": false})", enabled + R"(
            13 05 00 96 00 07 -> silence
            = cashSales=[]
        )");
    row("lenient: not offered", R"({"cashSale": false})", enabled + R"(
            13 05 00 96 00 07 -> ack
            = cashSales=[]
        )");
}

void TestCashlessSession::revaluations_data()
{
    addScriptColumns();
    row("approved", strict, inSession + R"(
            15 00 00 64 -> ack
            = readerState="revalue"
            12 -> 0D
            = readerState="session idle"
            = funds=600
            = revaluedValue=100
            12 -> ack
        )");
    row("denied", R"({"approveRevalue": false})", inSession + R"(
            15 00 00 64 -> ack
            12 -> 0E
            = readerState="session idle"
            = funds=500
            = revaluedValue=0
        )");
    row("up to the limit", R"({"revalueLimit": 100})", inSession + R"(
            15 00 00 64 -> ack
            12 -> 0D
        )");
    row("above the limit", R"({"revalueLimit": 99})", inSession + R"(
            15 00 00 64 -> ack
            12 -> 0E
        )");
    row("its limit", R"({"revalueLimit": 258})", inSession + R"(
            15 01 -> 0F 01 02
            = readerState="session idle"
            12 -> ack
        )");
    row("no limit if it does not revalue", R"({"approveRevalue": false})", inSession + R"(
            15 01 -> 0F 00 00
        )");
    row("it is not interrupted", strict, inSession + R"(
            15 00 00 64 -> ack
            13 04 -> ack
            12 -> 0B 06
        )");
    row("unknown funds stay unknown", "{}", enabled + R"(
            ! tapCard
            > 12
            15 00 00 64 -> ack
            12 -> 0D
            = funds=65535
            = revaluedValue=100
        )");
    row("strict: the next command shows that the answer was seen", strict, inSession + R"(
            15 00 00 64 -> ack
            12 -> 0D lost
            13 00 00 96 00 07 -> ack
            12 -> 05 00 96
            12 -> ack
        )");
    row("events", R"({"scale": 2, "revalueLimit": 100})", inSession + R"(
            * enabled
            * sessionOpened funds=500 value=1000
            15 00 00 64 -> ack
            * revalued amount=100 value=200
            > 12
            15 00 00 65 -> ack
            * revalueDenied amount=101 value=202
            * none
        )");
    row("strict level 1", R"({"strict": true, "level": 1})", inSession + R"(
            15 00 00 64 -> silence
            15 01 -> silence
        )");
    row("lenient level 1", R"({"level": 1})", inSession + R"(
            15 00 00 64 -> ack
            12 -> ack
            = revaluedValue=0
        )");
}

QTEST_APPLESS_MAIN(TestCashlessSession)
#include "tst_cashlesssession.moc"
