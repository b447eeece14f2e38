#include <QtTest>

#include "faults.h"

#include <QJsonDocument>

using namespace mdbsim;

namespace {

std::optional<FaultPlan> planOf(const QString &fields, QString *error = nullptr)
{
    const QByteArray text = '{' + fields.toUtf8() + '}';
    return FaultPlan::fromJson(QJsonDocument::fromJson(text).object(), 1000, error);
}

const QByteArray poll = QByteArray::fromHex("0B");
const QByteArray payout = QByteArray::fromHex("0F0218");

} // namespace

class TestFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyNameIsAKind_data();
    void everyNameIsAKind();
    void wrongPlanIsRefused_data();
    void wrongPlanIsRefused();
    void exchangesAreHit_data();
    void exchangesAreHit();
    void rateIsKeptAndRepeatable();
    void planOfNothingHitsNothing();
    void replyIsSpoilt_data();
    void replyIsSpoilt();
    void noiseIsRandomAndRepeatable();
    void delayIsRead();
};

void TestFaults::everyNameIsAKind_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name :
         {"none", "silence", "nak", "ret", "wrongCheckByte", "cutReply", "pacedReply", "slowReply",
          "lateReply", "noise", "noisyReply", "wrongModeBit", "lostAck", "hangUp"})
        QTest::newRow(name) << QString(name);
}

void TestFaults::everyNameIsAKind()
{
    QFETCH(QString, name);
    QString error;
    auto plan = planOf(QStringLiteral(R"("kind": "%1")").arg(name), &error);
    QVERIFY2(plan, qPrintable(error));
    QCOMPARE(faultName(plan->next(poll, 1000)), name);
}

void TestFaults::wrongPlanIsRefused_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QString>("expected");
    QTest::newRow("no kind") << R"("count": 1)"
                             << R"("kind" is missing)";
    QTest::newRow("unknown kind") << R"("kind": "sulk")"
                                  << R"("kind" is not a fault: "sulk")";
    QTest::newRow("count") << R"("kind": "noise", "count": 0)"
                           << R"("count" must be a whole number from 1 to 2147483647)";
    QTest::newRow("rate") << R"("kind": "noise", "rate": 1.5)"
                          << R"("rate" must be a number from 0 to 1)";
    QTest::newRow("block is no text") << R"("kind": "noise", "block": 11)"
                                      << R"("block" must be a string)";
    QTest::newRow("block is not hexadecimal") << R"("kind": "noise", "block": "poll")"
                                              << R"("block" is not hexadecimal: "poll")";
    QTest::newRow("unknown key") << R"("kind": "noise", "times": 3)"
                                 << R"(unknown key "times")";
}

void TestFaults::wrongPlanIsRefused()
{
    QFETCH(QString, fields);
    QFETCH(QString, expected);
    QString error;
    QVERIFY(!planOf(fields, &error));
    QCOMPARE(error, expected);
}

void TestFaults::exchangesAreHit_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QByteArrayList>("blocks");
    QTest::addColumn<QVector<bool>>("expected");
    const QByteArrayList polls = {poll, poll, poll, poll};
    QTest::newRow("all") << "" << polls << QVector<bool>{true, true, true, true};
    QTest::newRow("the next two") << R"("count": 2)" << polls
                                  << QVector<bool>{true, true, false, false};
    QTest::newRow("for 200 ms") << R"("durationMs": 200)" << polls
                                << QVector<bool>{true, true, false, false};
    QTest::newRow("whichever limit comes first")
        << R"("durationMs": 300, "count": 1)" << polls << QVector<bool>{true, false, false, false};
    QTest::newRow("one command only")
        << R"("block": "0F 02")" << QByteArrayList{poll, payout, poll, payout}
        << QVector<bool>{false, true, false, true};
    QTest::newRow("other commands do not use up the count")
        << R"("block": "0F", "count": 1)" << QByteArrayList{poll, poll, payout, payout}
        << QVector<bool>{false, false, true, false};
    QTest::newRow("rate 0") << R"("rate": 0)" << polls << QVector<bool>{false, false, false, false};
}

void TestFaults::exchangesAreHit()
{
    QFETCH(QString, fields);
    QFETCH(QByteArrayList, blocks);
    QFETCH(QVector<bool>, expected);
    auto plan = planOf(R"("kind": "silence")" + (fields.isEmpty() ? "" : ',' + fields));
    QVERIFY(plan);
    QVector<bool> hit;
    for (int index = 0; index < blocks.size(); ++index)
        hit.append(plan->next(blocks.at(index), 1000 + index * 100) == FaultKind::Silence);
    QCOMPARE(hit, expected);
}

void TestFaults::rateIsKeptAndRepeatable()
{
    auto plan = planOf(R"("kind": "silence", "rate": 0.25, "seed": 7)");
    auto same = planOf(R"("kind": "silence", "rate": 0.25, "seed": 7)");
    QVERIFY(plan && same);
    int hits = 0;
    for (int exchange = 0; exchange < 10000; ++exchange) {
        const FaultKind kind = plan->next(poll, 1000);
        QVERIFY(kind == same->next(poll, 1000));
        hits += kind == FaultKind::Silence ? 1 : 0;
    }
    QVERIFY2(hits > 2300 && hits < 2700, qPrintable(QString::number(hits)));
}

void TestFaults::planOfNothingHitsNothing()
{
    QVERIFY(FaultPlan().next(poll, 1000) == FaultKind::None);
}

void TestFaults::replyIsSpoilt_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char *kind, const char *hex) {
        QTest::newRow(kind) << QString(kind) << QByteArray::fromHex(hex);
    };
    row("none", "5207000059");
    row("silence", "");
    row("nak", "FF");
    row("ret", "AA");
    row("wrongCheckByte", "5207000058");
    row("cutReply", "5207");
    row("pacedReply", "5207000059");
    row("slowReply", "5207000059");
    row("lateReply", "5207000059");
    row("wrongModeBit", "");
    row("lostAck", "5207000059");
    row("hangUp", "");
}

void TestFaults::replyIsSpoilt()
{
    QFETCH(QString, kind);
    QFETCH(QByteArray, expected);
    auto plan = planOf(QStringLiteral(R"("kind": "%1")").arg(kind));
    QVERIFY(plan);
    const QByteArray reply = QByteArray::fromHex("5207000059");
    QCOMPARE(plan->spoil(plan->next(poll, 1000), reply).toHex(), expected.toHex());
}

void TestFaults::noiseIsRandomAndRepeatable()
{
    const QByteArray reply = QByteArray::fromHex("5207000059");
    auto plan = planOf(R"("kind": "noise", "seed": 3)");
    auto same = planOf(R"("kind": "noise", "seed": 3)");
    auto around = planOf(R"("kind": "noisyReply")");
    QVERIFY(plan && same && around);
    QSet<QByteArray> different;
    for (int exchange = 0; exchange < 50; ++exchange) {
        const QByteArray noise = plan->spoil(FaultKind::Noise, reply);
        QCOMPARE(noise, same->spoil(FaultKind::Noise, reply));
        QVERIFY(!noise.isEmpty() && noise != reply);
        different.insert(noise);
        const QByteArray noisy = around->spoil(FaultKind::NoisyReply, reply);
        QVERIFY(noisy.contains(reply));
        QVERIFY(!noisy.startsWith(reply) && !noisy.endsWith(reply));
    }
    QVERIFY(different.size() > 40);
}

void TestFaults::delayIsRead()
{
    const auto plan = planOf(R"("kind": "lateReply", "delayMs": 40)");
    QVERIFY(plan);
    QCOMPARE(plan->delayMs(), 40);
}

QTEST_APPLESS_MAIN(TestFaults)
#include "tst_faults.moc"
