#include "paymentrules.h"

#include <QtTest>

#include <climits>

using namespace paymentrules;

class TestPaymentRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void arithmetic_data();
    void arithmetic();
    void paymentSource_data();
    void paymentSource();
    void handlerIndex_data();
    void handlerIndex();
    void storageLimit_data();
    void storageLimit();
    void tubeTip_data();
    void tubeTip();
    void reassignment_data();
    void reassignment();
};

void TestPaymentRules::arithmetic_data()
{
    QTest::addColumn<int>("a");
    QTest::addColumn<int>("b");
    QTest::addColumn<int>("sum");
    QTest::addColumn<int>("difference");
    QTest::addColumn<int>("product");

    QTest::newRow("zero") << 0 << 0 << 0 << 0 << 0;
    QTest::newRow("small") << 7 << 5 << 12 << 2 << 35;
    QTest::newRow("negative") << -7 << 5 << -2 << -12 << -35;
    QTest::newRow("sum at the highest")
        << INT_MAX - 1 << 1 << INT_MAX << INT_MAX - 2 << INT_MAX - 1;
    QTest::newRow("sum beyond the highest") << INT_MAX << 1 << INT_MAX << INT_MAX - 1 << INT_MAX;
    QTest::newRow("sum below the lowest") << INT_MIN << -1 << INT_MIN << INT_MIN + 1 << INT_MAX;
    QTest::newRow("difference beyond the highest") << 0 << INT_MIN << INT_MIN << INT_MAX << 0;
    QTest::newRow("difference below the lowest")
        << -2 << INT_MAX << INT_MAX - 2 << INT_MIN << INT_MIN;
    QTest::newRow("product at the edge") << 46341 << 46340 << 92681 << 1 << 2147441940;
    QTest::newRow("product beyond the highest") << 65536 << 65536 << 131072 << 0 << INT_MAX;
    QTest::newRow("both lowest") << INT_MIN << INT_MIN << INT_MIN << 0 << INT_MAX;
}

void TestPaymentRules::arithmetic()
{
    QFETCH(int, a);
    QFETCH(int, b);

    QTEST(add(a, b), "sum");
    QTEST(subtract(a, b), "difference");
    QTEST(multiply(a, b), "product");
}

void TestPaymentRules::paymentSource_data()
{
    QTest::addColumn<int>("universal");
    QTest::addColumn<int>("token");
    QTest::addColumn<int>("coin");
    QTest::addColumn<int>("bill");
    QTest::addColumn<int>("price");
    QTest::addColumn<QString>("source");

    QTest::newRow("universal token wins over all") << 1 << 500 << 500 << 500 << 150 << "universal";
    QTest::newRow("universal token alone") << 1 << 0 << 0 << 0 << 150 << "universal";
    QTest::newRow("negative universal count is none") << -1 << 0 << 0 << 0 << 150 << "";
    QTest::newRow("tokens at the price") << 0 << 150 << 500 << 500 << 150 << "token";
    QTest::newRow("tokens one short, coins") << 0 << 149 << 1 << 500 << 150 << "coin";
    QTest::newRow("tokens one short, bill") << 0 << 149 << 0 << 1 << 150 << "bill";
    QTest::newRow("coins at the price") << 0 << 0 << 150 << 500 << 150 << "coin";
    QTest::newRow("coins one short, bill") << 0 << 0 << 149 << 1 << 150 << "bill";
    QTest::newRow("coins, bill and tokens exactly") << 0 << 50 << 50 << 50 << 150 << "bill";
    QTest::newRow("all together one short") << 0 << 50 << 50 << 49 << 150 << "";
    QTest::newRow("bill without coins") << 0 << 0 << 0 << 500 << 150 << "bill";
    QTest::newRow("tokens 100, coins 30, bill 100") << 0 << 100 << 30 << 100 << 150 << "bill";
    QTest::newRow("the same without a bill") << 0 << 100 << 30 << 0 << 150 << "";
    QTest::newRow("price 0 is covered by no tokens") << 0 << 0 << 0 << 0 << 0 << "token";
    QTest::newRow("negative price") << 0 << 0 << 0 << 0 << -5 << "token";
    QTest::newRow("no credit") << 0 << 0 << 0 << 0 << 150 << "";
    QTest::newRow("sum beyond 32 bits") << 0 << 0 << INT_MAX - 1 << INT_MAX << INT_MAX << "bill";
    QTest::newRow("debt of tokens at the highest price")
        << 0 << INT_MIN << INT_MAX << INT_MAX << INT_MAX << "";
}

void TestPaymentRules::paymentSource()
{
    QFETCH(int, universal);
    QFETCH(int, token);
    QFETCH(int, coin);
    QFETCH(int, bill);
    QFETCH(int, price);
    QFETCH(QString, source);

    const PaymentSource chosen = choosePaymentSource(universal, {token, coin, bill}, price);
    QCOMPARE(chosen.universal, source == "universal");
    QCOMPARE(chosen.token, source == "token");
    QCOMPARE(chosen.coin, source == "coin");
    QCOMPARE(chosen.bill, source == "bill");
    QCOMPARE(chosen.any(), !source.isEmpty());
}

void TestPaymentRules::handlerIndex_data()
{
    QTest::addColumn<int>("index");

    for (int index = 0; index < 16; ++index)
        QTest::addRow("bit pattern %s", qPrintable(QString::number(index, 2))) << index;
}

void TestPaymentRules::handlerIndex()
{
    QFETCH(int, index);

    PaymentSource source;
    source.bill = index & 1;
    source.coin = index & 2;
    source.token = index & 4;
    source.universal = index & 8;
    QCOMPARE(source.handlerIndex(), index);
    QCOMPARE(source.any(), index != 0);
}

void TestPaymentRules::storageLimit_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("coin");
    QTest::addColumn<int>("bill");
    QTest::addColumn<bool>("full");

    QTest::newRow("no limit") << 0 << INT_MAX << INT_MAX << false;
    QTest::newRow("one below") << 1000 << 999 << 0 << false;
    QTest::newRow("at the limit") << 1000 << 1000 << 0 << true;
    QTest::newRow("above") << 1000 << 1001 << 0 << true;
    QTest::newRow("coins and bill one below") << 1000 << 499 << 500 << false;
    QTest::newRow("coins and bill at the limit") << 1000 << 500 << 500 << true;
    QTest::newRow("negative limit is always reached") << -1 << 0 << 0 << true;
    QTest::newRow("negative limit, lower credit") << -1 << -2 << 0 << false;
    QTest::newRow("sum beyond 32 bits") << INT_MAX << INT_MAX << INT_MAX << true;
}

void TestPaymentRules::storageLimit()
{
    QFETCH(int, limit);
    QFETCH(int, coin);
    QFETCH(int, bill);

    QTEST(isStorageFull(limit, coin, bill), "full");
}

namespace {

QJsonObject tubes(std::initializer_list<QJsonValue> coins)
{
    return {{"coinSupport", QJsonArray(coins)}};
}

QJsonObject tube(int routed, int count)
{
    return {{"tube", routed}, {"count", count}};
}

} // namespace

void TestPaymentRules::tubeTip_data()
{
    QTest::addColumn<QJsonObject>("record");
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("tip");

    const QJsonObject low = tubes({tube(0, 0), tube(1, 12), tube(1, 5)});
    QTest::newRow("one tube at the level") << low << 5 << true;
    QTest::newRow("all tubes above the level")
        << tubes({tube(0, 0), tube(1, 12), tube(1, 6)}) << 5 << false;
    QTest::newRow("first tube below the level") << tubes({tube(1, 0), tube(1, 9)}) << 5 << true;
    QTest::newRow("cash box types do not count") << tubes({tube(0, 0), tube(0, 1)}) << 5 << false;
    QTest::newRow("level 0 turns it off") << low << 0 << false;
    QTest::newRow("negative level turns it off") << low << -1 << false;
    QTest::newRow("level 1 at one coin") << tubes({tube(1, 1)}) << 1 << true;
    QTest::newRow("highest level") << tubes({tube(1, 255)}) << INT_MAX << true;
    QTest::newRow("no coin types in the record") << QJsonObject{} << 5 << false;
    QTest::newRow("empty list of coin types") << tubes({}) << 5 << false;
    QTest::newRow("kept: a tube that was not counted reads as empty")
        << tubes({QJsonObject{{"tube", 1}}}) << 1 << true;
    QTest::newRow("tube is a bool, not 1") << tubes({QJsonObject{{"tube", true}}}) << 5 << false;
    QTest::newRow("tube is 2, not 1") << tubes({tube(2, 0)}) << 5 << false;
    QTest::newRow("an entry is no object") << tubes({7, tube(1, 3)}) << 5 << true;
    QTest::newRow("coin types are no list") << QJsonObject{{"coinSupport", 1}} << 5 << false;
}

void TestPaymentRules::tubeTip()
{
    QFETCH(QJsonObject, record);
    QFETCH(int, level);

    QTEST(tubesNeedTip(record, level), "tip");
}

void TestPaymentRules::reassignment_data()
{
    QTest::addColumn<QJsonArray>("entries");
    QTest::addColumn<int>("coinType");
    QTest::addColumn<QVariant>("value");

    const QJsonArray two{QJsonObject{{"num", 3}, {"value", 150}},
                         QJsonObject{{"num", 5}, {"value", 200}}};
    const QVariant none;
    QTest::newRow("first entry") << two << 3 << QVariant(150);
    QTest::newRow("second entry") << two << 5 << QVariant(200);
    QTest::newRow("no entry for the type") << two << 4 << none;
    QTest::newRow("no entries") << QJsonArray{} << 3 << none;
    QTest::newRow("first of two for one type")
        << QJsonArray{QJsonObject{{"num", 3}, {"value", 1}}, QJsonObject{{"num", 3}, {"value", 2}}}
        << 3 << QVariant(1);
    QTest::newRow("entry without a number is type 0")
        << QJsonArray{QJsonObject{{"value", 80}}} << 0 << QVariant(80);
    QTest::newRow("entry without a value is worth 0")
        << QJsonArray{QJsonObject{{"num", 3}}} << 3 << QVariant(0);
    QTest::newRow("value of the wrong kind is worth 0")
        << QJsonArray{QJsonObject{{"num", 3}, {"value", "150"}}} << 3 << QVariant(0);
    QTest::newRow("negative value stays")
        << QJsonArray{QJsonObject{{"num", 3}, {"value", -50}}} << 3 << QVariant(-50);
}

void TestPaymentRules::reassignment()
{
    QFETCH(QJsonArray, entries);
    QFETCH(int, coinType);
    QFETCH(QVariant, value);

    const auto found = reassignedValue(entries, coinType);
    QCOMPARE(found.has_value(), value.isValid());
    if (found)
        QCOMPARE(*found, value.toInt());
}

QTEST_GUILESS_MAIN(TestPaymentRules)
#include "tst_paymentrules.moc"
