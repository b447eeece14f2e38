#include <QtTest>

#include "jsonreader.h"

#include <QJsonDocument>

using namespace mdbsim;

class TestJsonReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyKindIsRead();
    void absentFieldsKeepTheirValues();
    void wrongFieldIsNamed_data();
    void wrongFieldIsNamed();
    void firstComplaintIsKept();
    void ignoredKeyIsKnown();
    void resultsSayHowItWent();
};

namespace {

QJsonObject json(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

struct Fields
{
    int whole = 7;
    double number = 0.5;
    bool flag = true;
    QString text = QStringLiteral("kept");
    QJsonArray array = {1};
    QJsonObject object = {{"a", 1}};

    bool read(const QJsonObject &from, QString *error)
    {
        JsonReader reader(from);
        reader.integer("whole", &whole, 0, 10);
        reader.number("number", &number, 0, 1);
        reader.flag("flag", &flag);
        reader.text("text", &text);
        reader.array("array", &array);
        reader.object("object", &object);
        return reader.finish(error);
    }
};

} // namespace

void TestJsonReader::everyKindIsRead()
{
    Fields fields;
    QVERIFY(fields.read(json(R"({"whole": 10, "number": 0.25, "flag": false, "text": "new",
                                 "array": [2, 3], "object": {"b": 2}})"),
                        nullptr));
    QCOMPARE(fields.whole, 10);
    QCOMPARE(fields.number, 0.25);
    QCOMPARE(fields.flag, false);
    QCOMPARE(fields.text, QStringLiteral("new"));
    QCOMPARE(fields.array, (QJsonArray{2, 3}));
    QCOMPARE(fields.object, (QJsonObject{{"b", 2}}));
}

void TestJsonReader::absentFieldsKeepTheirValues()
{
    Fields fields;
    QVERIFY(fields.read({}, nullptr));
    QCOMPARE(fields.whole, 7);
    QCOMPARE(fields.number, 0.5);
    QCOMPARE(fields.flag, true);
    QCOMPARE(fields.text, QStringLiteral("kept"));
    QCOMPARE(fields.array, QJsonArray{1});
    QCOMPARE(fields.object, (QJsonObject{{"a", 1}}));
}

void TestJsonReader::wrongFieldIsNamed_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *text, const char *expected) {
        QTest::newRow(text) << QByteArray(text) << QString(expected);
    };
    row(R"({"whole": -1})", R"("whole" must be a whole number from 0 to 10)");
    row(R"({"whole": 11})", R"("whole" must be a whole number from 0 to 10)");
    row(R"({"whole": 1.5})", R"("whole" must be a whole number from 0 to 10)");
    row(R"({"whole": true})", R"("whole" must be a whole number from 0 to 10)");
    row(R"({"whole": null})", R"("whole" must be a whole number from 0 to 10)");
    row(R"({"number": 1.1})", R"("number" must be a number from 0 to 1)");
    row(R"({"number": "1"})", R"("number" must be a number from 0 to 1)");
    row(R"({"flag": 0})", R"("flag" must be true or false)");
    row(R"({"text": 1})", R"("text" must be a string)");
    row(R"({"array": {}})", R"("array" must be an array)");
    row(R"({"object": []})", R"("object" must be an object)");
    row(R"({"other": 1})", R"(unknown key "other")");
}

void TestJsonReader::wrongFieldIsNamed()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, expected);
    QString error;
    QVERIFY(!Fields().read(json(text), &error));
    QCOMPARE(error, expected);
}

void TestJsonReader::firstComplaintIsKept()
{
    JsonReader reader(json(R"({"other": 1})"));
    reader.require("first");
    reader.require("second");
    QString error;
    QVERIFY(!reader.finish(&error));
    QCOMPARE(error, QStringLiteral("\"first\" is missing"));
}

void TestJsonReader::ignoredKeyIsKnown()
{
    JsonReader reader(json(R"({"other": 1})"));
    reader.ignore("other");
    QVERIFY(reader.finish(nullptr));
}

void TestJsonReader::resultsSayHowItWent()
{
    QCOMPARE(succeeded({{"more", 1}}), (QJsonObject{{"ok", true}, {"more", 1}}));
    QCOMPARE(failed("why"), (QJsonObject{{"ok", false}, {"error", "why"}}));
}

QTEST_APPLESS_MAIN(TestJsonReader)
#include "tst_jsonreader.moc"
