#include "pendingreports.h"

#include <QtTest>

using mdbsim::PendingReports;

namespace {

/// "0102 03" for a block of two messages.
QByteArray hexOf(const QVector<QByteArray> &messages)
{
    QByteArrayList words;
    for (const QByteArray &message : messages)
        words.append(message.toHex());
    return words.join(' ');
}

} // namespace

class TestPendingReports : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatASendHolds_data();
    void whatASendHolds();
    void whatIsLeftAfterAnAnswer_data();
    void whatIsLeftAfterAnAnswer();
    void withdrawnMessagesAreGone();
    void aDirectAnswerGoesAloneAndStaysPending();
    void whatIsAddedFirstGoesOutFirst();
    void messagesAddedAfterASendAreNotAcknowledgedWithIt();
};

void TestPendingReports::whatASendHolds_data()
{
    QTest::addColumn<bool>("joined");
    QTest::addColumn<int>("maxBytes");
    QTest::addColumn<QByteArray>("block");
    QTest::newRow("single form sends the oldest") << false << 16 << QByteArray("0102");
    QTest::newRow("joined form sends all that fit") << true << 16 << QByteArray("0102 03 0405");
    QTest::newRow("a message is never cut") << true << 4 << QByteArray("0102 03");
    QTest::newRow("a block may be full to the last byte")
        << true << 5 << QByteArray("0102 03 0405");
    QTest::newRow("one that is too long goes alone") << true << 1 << QByteArray("0102");
}

void TestPendingReports::whatASendHolds()
{
    QFETCH(bool, joined);
    QFETCH(int, maxBytes);
    QFETCH(QByteArray, block);
    PendingReports reports({joined, false, maxBytes});
    QVERIFY(reports.send().isEmpty());
    reports.add(QByteArray::fromHex("0102"));
    reports.add(QByteArray::fromHex("03"));
    reports.add(QByteArray::fromHex("0405"));
    QCOMPARE(hexOf(reports.send()), block);
}

void TestPendingReports::whatIsLeftAfterAnAnswer_data()
{
    QTest::addColumn<bool>("repeated");
    QTest::addColumn<bool>("lasting");
    QTest::addColumn<bool>("acknowledged");
    QTest::addColumn<QByteArray>("seen");
    QTest::addColumn<QByteArray>("next");
    QTest::newRow("acknowledged: seen")
        << true << false << true << QByteArray("01") << QByteArray("02");
    QTest::newRow("acknowledged lasting one: seen")
        << true << true << true << QByteArray("01") << QByteArray("02");
    QTest::newRow("not acknowledged, repeated: sent again")
        << true << false << false << QByteArray() << QByteArray("01");
    QTest::newRow("not acknowledged, not repeated: taken for seen")
        << false << false << false << QByteArray("01") << QByteArray("02");
    QTest::newRow("not acknowledged lasting one: sent again anyway")
        << false << true << false << QByteArray() << QByteArray("01");
}

void TestPendingReports::whatIsLeftAfterAnAnswer()
{
    QFETCH(bool, repeated);
    QFETCH(bool, lasting);
    QFETCH(bool, acknowledged);
    QFETCH(QByteArray, seen);
    QFETCH(QByteArray, next);
    PendingReports reports({false, repeated, 16});
    if (lasting)
        reports.addLasting(QByteArray::fromHex("01"));
    else
        reports.add(QByteArray::fromHex("01"));
    reports.add(QByteArray::fromHex("02"));
    reports.send();
    QCOMPARE(hexOf(acknowledged ? reports.acknowledged() : reports.notAcknowledged()), seen);
    QCOMPARE(hexOf(reports.send()), next);
}

void TestPendingReports::withdrawnMessagesAreGone()
{
    PendingReports reports({true, true, 16});
    reports.add(QByteArray::fromHex("0102"));
    reports.add(QByteArray::fromHex("03"));
    reports.add(QByteArray::fromHex("0104"));
    QVERIFY(reports.contains(0x01));
    reports.withdraw(0x01);
    QVERIFY(!reports.contains(0x01));
    QVERIFY(reports.contains(0x03));
    QCOMPARE(hexOf(reports.send()), QByteArray("03"));
    reports.clear();
    QVERIFY(reports.send().isEmpty());
}

void TestPendingReports::aDirectAnswerGoesAloneAndStaysPending()
{
    PendingReports reports({true, true, 16});
    reports.add(QByteArray::fromHex("01"));
    reports.sendFirst(QByteArray::fromHex("07"));
    QVERIFY(reports.notAcknowledged().isEmpty());
    QCOMPARE(hexOf(reports.send()), QByteArray("07 01"));
    reports.acknowledged();
    reports.add(QByteArray::fromHex("01"));
    reports.sendFirst(QByteArray::fromHex("07"));
    QCOMPARE(hexOf(reports.acknowledged()), QByteArray("07"));
    QCOMPARE(hexOf(reports.send()), QByteArray("01"));
}

void TestPendingReports::whatIsAddedFirstGoesOutFirst()
{
    PendingReports reports({false, false, 16});
    reports.add(QByteArray::fromHex("05"));
    reports.addFirst(QByteArray::fromHex("0B"));
    QCOMPARE(hexOf(reports.send()), QByteArray("0b"));
    QCOMPARE(hexOf(reports.notAcknowledged()), QByteArray("0b"));
    QCOMPARE(hexOf(reports.send()), QByteArray("05"));
}

void TestPendingReports::messagesAddedAfterASendAreNotAcknowledgedWithIt()
{
    PendingReports reports({true, false, 16});
    reports.add(QByteArray::fromHex("01"));
    reports.send();
    reports.add(QByteArray::fromHex("02"));
    reports.addLasting(QByteArray::fromHex("03"));
    QCOMPARE(hexOf(reports.acknowledged()), QByteArray("01"));
    QCOMPARE(hexOf(reports.send()), QByteArray("02 03"));
}

QTEST_APPLESS_MAIN(TestPendingReports)
#include "tst_pendingreports.moc"
