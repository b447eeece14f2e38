#include "billvalidatorconfig.h"

#include <QtTest>

using mdbsim::BillValidatorConfig;

class TestBillValidatorConfig : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fromJson_data();
    void fromJson();
    void absentKeysKeepTheirDefaults();
    void reportingDisabledComesWithStrict();
};

void TestBillValidatorConfig::fromJson_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("error");
    const auto wrong = [](const char *name, const QByteArray &json, const QString &error) {
        QTest::newRow(name) << json << error;
    };
    wrong("nothing is needed", "{}", {});
    wrong("every key",
          R"({"level": 1, "currencyCode": 1643, "scalingFactor": 10, "decimals": 1,
              "billTypes": [1, 2], "stackerCapacity": 0, "escrow": false, "strict": true,
              "reportsDisabled": false, "joinedEvents": true, "shortReplies": true})",
          {});
    wrong("unknown key", R"({"stacker": 4})", "unknown key \"stacker\"");
    wrong("level 3", R"({"level": 3})", "\"level\" must be a whole number from 1 to 2");
    wrong("level in words", R"({"level": "1"})", "\"level\" must be a whole number from 1 to 2");
    wrong("currency of five digits", R"({"currencyCode": 10000})",
          "\"currencyCode\" must be a whole number from 0 to 9999");
    wrong("scaling factor 0", R"({"scalingFactor": 0})",
          "\"scalingFactor\" must be a whole number from 1 to 65535");
    wrong("decimals of two bytes", R"({"decimals": 256})",
          "\"decimals\" must be a whole number from 0 to 255");
    wrong("stacker beyond 15 bits", R"({"stackerCapacity": 32768})",
          "\"stackerCapacity\" must be a whole number from 0 to 32767");
    wrong("flag that is a number", R"({"escrow": 1})", "\"escrow\" must be true or false");
    const QString types =
        "\"billTypes\" must be an array of at most 16 whole numbers from 0 to 255";
    wrong("credit beyond one byte", R"({"billTypes": [1, 256]})", types);
    wrong("negative credit", R"({"billTypes": [-1]})", types);
    wrong("credit in words", R"({"billTypes": ["5"]})", types);
    wrong("seventeen types", R"({"billTypes": [1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1]})", types);
    wrong("types that are no array", R"({"billTypes": 5})", "\"billTypes\" must be an array");
}

void TestBillValidatorConfig::fromJson()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, error);
    QString complaint;
    const QJsonDocument document = QJsonDocument::fromJson(json);
    QVERIFY(document.isObject());
    const auto read = BillValidatorConfig::fromJson(document.object(), &complaint);
    QCOMPARE(complaint, error);
    QCOMPARE(read.has_value(), error.isEmpty());
}

void TestBillValidatorConfig::absentKeysKeepTheirDefaults()
{
    const auto read = BillValidatorConfig::fromJson({{"level", 1}}, nullptr);
    QVERIFY(read);
    QCOMPARE(read->level, 1);
    QCOMPARE(read->scalingFactor, BillValidatorConfig().scalingFactor);
    QCOMPARE(read->billTypes, BillValidatorConfig().billTypes);
    QVERIFY(!read->reportsDisabled);
}

void TestBillValidatorConfig::reportingDisabledComesWithStrict()
{
    const auto strict = BillValidatorConfig::fromJson({{"strict", true}}, nullptr);
    QVERIFY(strict && strict->reportsDisabled);
    const auto quiet =
        BillValidatorConfig::fromJson({{"strict", true}, {"reportsDisabled", false}}, nullptr);
    QVERIFY(quiet && !quiet->reportsDisabled);
}

QTEST_APPLESS_MAIN(TestBillValidatorConfig)
#include "tst_billvalidatorconfig.moc"
