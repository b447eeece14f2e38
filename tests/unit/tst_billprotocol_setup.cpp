#include "unit/billvalidator.h"

#include <QJsonArray>
#include <QtTest>

using exchange::answer;
using exchange::bringUp;
using exchange::byteLines;
using exchange::json;
using exchange::printedBy;

namespace {

/// The bill types of a state as "<idx>:<value>" each; "none" if there is no list.
QByteArray billTypesOf(const QJsonObject &state)
{
    if (!state.value("billTypes").isArray())
        return "none";
    QByteArrayList types;
    for (const QJsonValue &value : state.value("billTypes").toArray()) {
        const QJsonObject type = value.toObject();
        types += QByteArray::number(type.value("idx").toInt(-1)) + ':'
            + QByteArray::number(type.value("value").toInt(-1));
    }
    return types.join(' ');
}

} // namespace

class BillProtocolSetupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesBillTypesAlongWithTheNextReport();
    void listsBillTypes_data();
    void listsBillTypes();
    void replacesTheListAtAnotherSetup();
    void keepsCreditsThatAShorterSetupLeavesOut();
    void storesWhatAShortSetupBrings_data();
    void storesWhatAShortSetupBrings();
    void ignoresAFailedSetup_data();
    void ignoresAFailedSetup();
    void printsSetup_data();
    void printsSetup();
    void reportsBillType_data();
    void reportsBillType();
    void printsBillType_data();
    void printsBillType();
    void reportsTheLevelWithAnIdentification_data();
    void reportsTheLevelWithAnIdentification();
    void reportsLevel0BeforeSetup();
    void printsIdentifications_data();
    void printsIdentifications();
    void readsTheStacker_data();
    void readsTheStacker();
};

void BillProtocolSetupTest::takesBillTypesAlongWithTheNextReport()
{
    BillValidator validator;
    validator.setBills("00 64", "02", "01 02 05 00 0A 00 00 00 00 00 00 00 00 00 00 00");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
    QCOMPARE(billTypesOf(validator.record().value("state").toObject()), QByteArray("none"));
    bringUp(validator, 7);
    exchange::acknowledge(validator);
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList{json(R"({
                 "type": 1, "num": 2, "deviceAddress": 48,
                 "state": {"active": false, "enable": true, "tpyeAllow": 255, "billTypes": [
                     {"idx": 0, "value": 1}, {"idx": 1, "value": 2}, {"idx": 2, "value": 5},
                     {"idx": 4, "value": 10}]}})")});
}

void BillProtocolSetupTest::listsBillTypes_data()
{
    QTest::addColumn<QByteArray>("factor");
    QTest::addColumn<QByteArray>("credits");
    QTest::addColumn<QByteArray>("types");

    QTest::newRow("no credit byte") << QByteArray("00 64") << QByteArray() << QByteArray();
    QTest::newRow("one credit") << QByteArray("00 64") << QByteArray("05") << QByteArray("0:5");
    QTest::newRow("credit 0 is left out")
        << QByteArray("00 64") << QByteArray("00 05 00 0A") << QByteArray("1:5 3:10");
    QTest::newRow("fractions are dropped")
        << QByteArray("00 0A") << QByteArray("05 0A 13 14") << QByteArray("0:0 1:1 2:1 3:2");
    QTest::newRow("factor 0") << QByteArray("00 00") << QByteArray("05") << QByteArray("0:0");
    QTest::newRow("factor, high byte first")
        << QByteArray("01 02") << QByteArray("64") << QByteArray("0:258");
    QTest::newRow("highest factor and credit")
        << QByteArray("FF FF") << QByteArray("FF") << QByteArray("0:167114");
    const QByteArray sixteen("0:1 1:1 2:1 3:1 4:1 5:1 6:1 7:1 8:1 9:1 10:1 11:1 12:1 13:1 14:1 "
                             "15:1");
    QTest::newRow("16 credits") << QByteArray("00 64") << QByteArray("01").repeated(16) << sixteen;
    QTest::newRow("a 17th credit is ignored")
        << QByteArray("00 64") << QByteArray("01").repeated(16) + "09" << sixteen;
    QTest::newRow("a full reply buffer")
        << QByteArray("00 64") << QByteArray("01").repeated(28) << sixteen;
}

void BillProtocolSetupTest::listsBillTypes()
{
    QFETCH(QByteArray, factor);
    QFETCH(QByteArray, credits);
    BillValidator validator;
    validator.setBills(factor, "02", credits);
    QCOMPARE(RecordSink::take().size(), 0);
    validator.setTpyeAllow(7);
    QTEST(billTypesOf(RecordSink::take().at(0).state()), "types");
}

void BillProtocolSetupTest::replacesTheListAtAnotherSetup()
{
    BillValidator validator;
    validator.setBills("00 64", "02", "01 02 05");
    validator.setBills("00 64", "02", "0A");
    validator.setTpyeAllow(7);
    QCOMPARE(billTypesOf(RecordSink::take().at(0).state()), QByteArray("0:10"));
}

void BillProtocolSetupTest::keepsCreditsThatAShorterSetupLeavesOut()
{
    BillValidator validator;
    validator.setBills("00 64", "02", "01 02 05");
    validator.setBills("00 64", "02", "0A");
    validator.answerTo(0, "92");
    QCOMPARE(RecordSink::take().at(0).action().value("value").toInt(), 500);
}

void BillProtocolSetupTest::storesWhatAShortSetupBrings_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("value");

    // The credit 3 of bill type 0 stays from before; decimal places not received read 0.
    QTest::newRow("level") << 1 << 9 << 0;
    QTest::newRow("up to the country code") << 3 << 9 << 0;
    QTest::newRow("high byte of the factor") << 4 << 9 << 3 * 0x0100 * 100;
    QTest::newRow("factor") << 5 << 9 << 3 * 0x0102 * 100;
    QTest::newRow("decimal places") << 6 << 9 << 3 * 0x0102 * 10;
    QTest::newRow("eleven bytes") << 11 << 9 << 3 * 0x0102 * 10;
    QTest::newRow("twelve bytes") << 12 << 9 << 3 * 0x0102 * 10;
}

void BillProtocolSetupTest::storesWhatAShortSetupBrings()
{
    QFETCH(int, length);
    BillValidator validator;
    validator.setBills("00 64", "02", "03");
    bringUp(validator, 2);
    exchange::deliver(validator, length, exchange::bytes("09 18 40 01 02 01 01 01 01 01 01 01"),
                      '\xEE');
    validator.setTpyeAllow(7);
    QCOMPARE(billTypesOf(RecordSink::take().at(0).state()), QByteArray());
    validator.answerTo(3, "4D 45 49");
    validator.answerTo(0, "90");
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 3);
    QTEST(reports[1].record.value("level").toInt(), "level");
    QTEST(reports[2].action().value("value").toInt(), "value");
}

void BillProtocolSetupTest::ignoresAFailedSetup_data()
{
    QTest::addColumn<int>("length");

    QTest::newRow("failure code -1") << -1;
    QTest::newRow("nothing received") << 0;
}

void BillProtocolSetupTest::ignoresAFailedSetup()
{
    QFETCH(int, length);
    BillValidator validator;
    validator.setBills("00 64", "02", "03");
    bringUp(validator, 2);
    exchange::deliver(validator, length, exchange::bytes("09 18 40 01 02 01"));
    validator.setTpyeAllow(7);
    QCOMPARE(billTypesOf(RecordSink::take().at(0).state()), QByteArray("0:3"));
}

void BillProtocolSetupTest::printsSetup_data()
{
    QTest::addColumn<int>("length");

    for (const int length : {-1, 0, 1, 2, 27})
        QTest::newRow("length " + QByteArray::number(length)) << length;
}

void BillProtocolSetupTest::printsSetup()
{
    QFETCH(int, length);
    const QByteArray reply = QByteArray(40, '\x0F').left(qMax(0, length));
    BillValidator validator;
    bringUp(validator, 2);
    QCOMPARE(printedBy([&] { exchange::deliver(validator, length, reply); }),
             byteLines("[bill_setup]", reply));
}

void BillProtocolSetupTest::reportsBillType_data()
{
    QTest::addColumn<int>("highest");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("enable");

    QTest::newRow("acknowledged") << 7 << 7 << 1 << true;
    QTest::newRow("failed, kept") << 7 << 7 << -1 << true;
    QTest::newRow("nothing received, kept") << 7 << 7 << 0 << true;
    QTest::newRow("answered with bytes") << 7 << 7 << 2 << true;
    QTest::newRow("one bill type") << 0 << 7 << 1 << true;
    QTest::newRow("no bill type") << -1 << 7 << 1 << false;
    QTest::newRow("no bill type, failed") << -1 << 7 << -1 << false;
    QTest::newRow("the mask is reported after disabling too, kept") << 7 << 11 << 1 << true;
    QTest::newRow("the mask is reported after a failed disabling too, kept")
        << 7 << 11 << -1 << true;
    QTest::newRow("disabling with an empty mask") << -1 << 11 << 1 << false;
}

void BillProtocolSetupTest::reportsBillType()
{
    QFETCH(int, highest);
    QFETCH(int, number);
    QFETCH(int, length);
    BillValidator validator;
    validator.setTpyeAllow(highest);
    bringUp(validator, number);
    RecordSink::take();
    exchange::deliver(validator, length, {});
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 1);
    QTEST(reports[0].state().value("enable").toBool(), "enable");
}

void BillProtocolSetupTest::printsBillType_data()
{
    QTest::addColumn<int>("length");

    for (const int length : {-1, 0, 1, 2, 3})
        QTest::newRow("length " + QByteArray::number(length)) << length;
}

void BillProtocolSetupTest::printsBillType()
{
    QFETCH(int, length);
    const QByteArray reply(length > 1 ? length : 0, '\x10');
    BillValidator validator;
    bringUp(validator, 7);
    QCOMPARE(printedBy([&] { exchange::deliver(validator, length, reply); }),
             byteLines("[bill_type]", reply));
}

void BillProtocolSetupTest::reportsTheLevelWithAnIdentification_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("reports");

    for (const int number : {3, 5}) {
        const QByteArray name = number == 3 ? "identification" : "identification with options";
        for (const int length : {-1, 0, 1, 2, 3})
            QTest::newRow(name + ", length " + QByteArray::number(length)) << number << length << 0;
        for (const int length : {4, 30, 34})
            QTest::newRow(name + ", length " + QByteArray::number(length)) << number << length << 1;
    }
    QTest::newRow("feature enable, length 30") << 4 << 30 << 0;
}

void BillProtocolSetupTest::reportsTheLevelWithAnIdentification()
{
    QFETCH(int, number);
    QFETCH(int, length);
    QFETCH(int, reports);
    BillValidator validator;
    validator.setBills("00 64", "02", {});
    bringUp(validator, number);
    exchange::deliver(validator, length, QByteArray(40, 'A'));
    const QByteArrayList records = RecordSink::takeRecords();
    QCOMPARE(records.size(), reports);
    if (reports == 1)
        QCOMPARE(records[0], json(R"({"type": 1, "num": 2, "deviceAddress": 48, "level": 2, "state":
                          {"active": false, "enable": false, "tpyeAllow": 255}})"));
    QCOMPARE(validator.record().contains("level"), reports == 1);
}

void BillProtocolSetupTest::reportsLevel0BeforeSetup()
{
    BillValidator validator;
    validator.answerTo(3, "4D 45 49");
    QCOMPARE(RecordSink::take().at(0).record.value("level").toInt(-1), 0);
}

void BillProtocolSetupTest::printsIdentifications_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<int>("printedBytes");

    const QByteArray identification("[bill_expansion 0]");
    QTest::newRow("identification failed") << 3 << -1 << identification << 0;
    QTest::newRow("identification acknowledged") << 3 << 1 << identification << 0;
    QTest::newRow("identification of two bytes") << 3 << 2 << identification << 2;
    QTest::newRow("identification of 30 bytes") << 3 << 30 << identification << 30;
    const QByteArray features("[bill_expansion 1]");
    QTest::newRow("feature enable failed") << 4 << -1 << features << 0;
    QTest::newRow("feature enable acknowledged") << 4 << 1 << features << 1;
    QTest::newRow("feature enable answered with bytes") << 4 << 3 << features << 3;
    const QByteArray options("[bill_expansion 2]");
    QTest::newRow("identification with options failed") << 5 << -1 << options << 0;
    QTest::newRow("identification with options acknowledged") << 5 << 1 << options << 1;
    QTest::newRow("identification with options of 34 bytes") << 5 << 34 << options << 34;
}

void BillProtocolSetupTest::printsIdentifications()
{
    QFETCH(int, number);
    QFETCH(int, length);
    QFETCH(QByteArray, prefix);
    QFETCH(int, printedBytes);
    BillValidator validator;
    bringUp(validator, number);
    const QByteArray reply(40, 'A');
    QCOMPARE(printedBy([&] { exchange::deliver(validator, length, reply); }),
             byteLines(prefix, reply.left(printedBytes)));
}

void BillProtocolSetupTest::readsTheStacker_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<int>("count");

    QTest::newRow("count, high byte first") << 3 << QByteArray("01 02 03") << 0x0102;
    QTest::newRow("highest count") << 3 << QByteArray("7F FF 7E") << 0x7FFF;
    QTest::newRow("empty") << 3 << QByteArray("00 00 00") << 0;
    QTest::newRow("full leaves the count unchanged") << 3 << QByteArray("80 63 E3") << 7;
    QTest::newRow("full and empty leaves the count unchanged") << 3 << QByteArray("80 00 80") << 7;
    QTest::newRow("bare ACK leaves the count unchanged") << 1 << QByteArray("00") << 7;
    QTest::newRow("failure leaves the count unchanged") << -1 << QByteArray("01 02 03") << 7;
    QTest::newRow("two bytes are enough") << 2 << QByteArray("01 02") << 0x0102;
}

void BillProtocolSetupTest::readsTheStacker()
{
    QFETCH(int, length);
    QFETCH(QByteArray, received);
    BillValidator validator;
    validator.answerTo(6, "00 07");
    bringUp(validator, 6);
    const QByteArray reply = exchange::bytes(received);
    QCOMPARE(printedBy([&] { exchange::deliver(validator, length, reply); }),
             byteLines("[bill_stacker]", length < 2 ? QByteArray() : reply));
    QTEST(validator.stackerCount(), "count");
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

QTEST_GUILESS_MAIN(BillProtocolSetupTest)

#include "tst_billprotocol_setup.moc"
