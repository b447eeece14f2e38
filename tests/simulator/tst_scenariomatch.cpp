#include <QtTest>

#include "scenariomatch.h"

#include <QJsonDocument>

using namespace mdbsim;

namespace {

QJsonObject json(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

} // namespace

class TestScenarioMatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void patternIsPartOfTheValue_data();
    void patternIsPartOfTheValue();
    void onlyWhatIsAskedForIsTold();
    void booksCountFromTheEarlierState();
};

void TestScenarioMatch::patternIsPartOfTheValue_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("expected");
    QTest::newRow("nothing") << "{}" << true;
    QTest::newRow("number") << R"({"a": 5})" << true;
    QTest::newRow("other number") << R"({"a": 6})" << false;
    QTest::newRow("other kind") << R"({"a": "5"})" << false;
    QTest::newRow("missing") << R"({"z": 5})" << false;
    QTest::newRow("one of two wrong") << R"({"a": 5, "b": false})" << false;
    QTest::newRow("nested") << R"({"c": {"d": "x"}})" << true;
    QTest::newRow("nested, other") << R"({"c": {"d": "y"}})" << false;
    QTest::newRow("object for a number") << R"({"a": {"d": 5}})" << false;
    QTest::newRow("array, parts of its elements") << R"({"f": [{"g": 1}, 2]})" << true;
    QTest::newRow("array, shorter") << R"({"f": [{"g": 1}]})" << false;
    QTest::newRow("array, other order") << R"({"f": [2, {"g": 1}]})" << false;
    QTest::newRow("at least, equal") << R"({"a": {"atLeast": 5}})" << true;
    QTest::newRow("at least, below") << R"({"a": {"atLeast": 6}})" << false;
    QTest::newRow("at most, equal") << R"({"a": {"atMost": 5}})" << true;
    QTest::newRow("at most, above") << R"({"a": {"atMost": 4}})" << false;
    QTest::newRow("between") << R"({"a": {"atLeast": 4, "atMost": 6}})" << true;
    QTest::newRow("limit of no number") << R"({"b": {"atLeast": 0}})" << false;
}

void TestScenarioMatch::patternIsPartOfTheValue()
{
    QFETCH(QString, pattern);
    QFETCH(bool, expected);
    const QJsonObject value =
        json(R"({"a": 5, "b": true, "c": {"d": "x", "e": 0}, "f": [{"g": 1, "h": 0}, 2]})");
    QVERIFY(pattern == "{}" || !json(pattern).isEmpty());
    QCOMPARE(matches(json(pattern), value), expected);
}

void TestScenarioMatch::onlyWhatIsAskedForIsTold()
{
    const QJsonObject state = json(R"({"a": 5, "b": true, "c": {"d": "x", "e": 0}})");
    QCOMPARE(askedFor(json(R"({"a": {"atLeast": 6}, "c": {"e": 1}})"), state),
             json(R"({"a": 5, "c": {"e": 0}})"));
}

void TestScenarioMatch::booksCountFromTheEarlierState()
{
    const QJsonObject earlier = json(R"({"paidOutValue": 50, "stackerCount": 3,
        "cashSales": [{"price": 1}], "statistics": {"silent": 2}})");
    const QJsonObject later = json(R"({"paidOutValue": 70, "stackerCount": 4, "tokens": 1,
        "cashSales": [{"price": 1}, {"price": 2}], "statistics": {"silent": 5}})");
    QCOMPARE(since(earlier, later), json(R"({"paidOutValue": 20, "stackerCount": 4, "tokens": 1,
        "cashSales": [{"price": 2}], "statistics": {"silent": 3}})"));
}

QTEST_GUILESS_MAIN(TestScenarioMatch)
#include "tst_scenariomatch.moc"
