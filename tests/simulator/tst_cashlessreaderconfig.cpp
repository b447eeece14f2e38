#include "cashlessreaderconfig.h"

#include <QJsonDocument>
#include <QtTest>

using mdbsim::CashlessReaderConfig;

class TestCashlessReaderConfig : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fromJson_data();
    void fromJson();
    void absentKeysKeepTheirDefaults();
    void everyKeyIsRead();
};

void TestCashlessReaderConfig::fromJson_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("error");
    const auto wrong = [](const char *name, const QByteArray &json, const QString &error) {
        QTest::newRow(name) << json << error;
    };
    wrong("nothing is needed", "{}", {});
    wrong("second reader", R"({"address": 96})", {});
    wrong("unknown currency", R"({"currencyCode": -1})", {});
    wrong("unknown key", R"({"lever": 1})", "unknown key \"lever\"");
    wrong("address of another device", R"({"address": 48})", "\"address\" must be 16 or 96");
    wrong("level 4", R"({"level": 4})", "\"level\" must be a whole number from 1 to 3");
    wrong("currency of five digits", R"({"currencyCode": 10000})",
          "\"currencyCode\" must be a whole number from -1 to 9999");
    wrong("scale 0", R"({"scale": 0})", "\"scale\" must be a whole number from 1 to 255");
    wrong("scale of a half", R"({"scale": 1.5})", "\"scale\" must be a whole number from 1 to 255");
    wrong("decimals", R"({"decimals": "2"})", "\"decimals\" must be a whole number from 0 to 255");
    wrong("response time of two bytes", R"({"maxResponseSeconds": 256})",
          "\"maxResponseSeconds\" must be a whole number from 0 to 255");
    wrong("flag that is a number", R"({"refund": 1})", "\"refund\" must be true or false");
    wrong("flag that is a string", R"({"strict": "yes"})", "\"strict\" must be true or false");
    wrong("display text that is a number", R"({"displayAfterVend": 1})",
          "\"displayAfterVend\" must be a string");
    wrong("limit of three bytes", R"({"revalueLimit": 65536})",
          "\"revalueLimit\" must be a whole number from 0 to 65535");
}

void TestCashlessReaderConfig::fromJson()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, error);
    QString complaint;
    const QJsonDocument document = QJsonDocument::fromJson(json);
    QVERIFY(document.isObject());
    const auto read = CashlessReaderConfig::fromJson(document.object(), &complaint);
    QCOMPARE(complaint, error);
    QCOMPARE(read.has_value(), error.isEmpty());
}

void TestCashlessReaderConfig::absentKeysKeepTheirDefaults()
{
    const auto read = CashlessReaderConfig::fromJson({{"level", 1}}, nullptr);
    QVERIFY(read);
    QCOMPARE(read->level, 1);
    QCOMPARE(read->address, 0x10);
    QVERIFY(read->autoApprove && read->cashSale && !read->strict);
}

void TestCashlessReaderConfig::everyKeyIsRead()
{
    const QByteArray json = R"({
        "address": 96, "level": 2, "currencyCode": 1643, "scale": 5, "decimals": 1,
        "maxResponseSeconds": 9, "refund": false, "multivend": true, "display": true,
        "cashSale": false, "alwaysIdleSupported": true, "negativeVendSupported": true,
        "strict": true, "joinedEvents": true, "sessionCompleteDirect": false,
        "endsCancelledSession": true, "approveAtOnce": true, "autoApprove": false, "autoDenyShortOfFunds": false,
        "displayAfterVend": "Thanks", "approveRevalue": false, "revalueLimit": 77})";
    const auto read =
        CashlessReaderConfig::fromJson(QJsonDocument::fromJson(json).object(), nullptr);
    QVERIFY(read);
    QCOMPARE(read->address, 0x60);
    QCOMPARE(read->level, 2);
    QCOMPARE(read->currencyCode, 1643);
    QCOMPARE(read->scale, 5);
    QCOMPARE(read->decimals, 1);
    QCOMPARE(read->maxResponseSeconds, 9);
    QVERIFY(!read->refund && read->multivend && read->display && !read->cashSale);
    QVERIFY(read->alwaysIdleSupported && read->negativeVendSupported);
    QVERIFY(read->strict && read->joinedEvents && !read->sessionCompleteDirect);
    QVERIFY(read->endsCancelledSession);
    QVERIFY(read->approveAtOnce && !read->autoApprove && !read->autoDenyShortOfFunds);
    QCOMPARE(read->displayAfterVend, QStringLiteral("Thanks"));
    QVERIFY(!read->approveRevalue);
    QCOMPARE(read->revalueLimit, 77);
}

QTEST_APPLESS_MAIN(TestCashlessReaderConfig)
#include "tst_cashlessreaderconfig.moc"
