#include "polltracking.h"

#include <QtTest>

class PollTrackingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheSixthMissedPollInARow();
    void startsAgainAfterTheSixth();
    void startsAgainAfterAReset();
    void tellsARepeatedReply_data();
    void tellsARepeatedReply();
    void comparesWithTheReplyBefore();
};

void PollTrackingTest::findsTheSixthMissedPollInARow()
{
    MissedPolls missed;
    for (int i = 1; i <= 5; ++i)
        QVERIFY(!missed.addAndCheckLost());
    QVERIFY(missed.addAndCheckLost());
}

void PollTrackingTest::startsAgainAfterTheSixth()
{
    MissedPolls missed;
    int lost = 0;
    for (int i = 1; i <= 600; ++i)
        lost += missed.addAndCheckLost();
    QCOMPARE(lost, 100);
}

void PollTrackingTest::startsAgainAfterAReset()
{
    MissedPolls missed;
    for (int i = 1; i <= 5; ++i)
        missed.addAndCheckLost();
    missed.reset();
    for (int i = 1; i <= 5; ++i)
        QVERIFY(!missed.addAndCheckLost());
    QVERIFY(missed.addAndCheckLost());
}

void PollTrackingTest::tellsARepeatedReply_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<bool>("repeated");

    const QByteArray sixteen("0123456789abcdef");
    QTest::newRow("the same bytes") << QByteArray("ab") << QByteArray("ab") << true;
    QTest::newRow("another first byte") << QByteArray("ab") << QByteArray("xb") << false;
    QTest::newRow("another last byte") << QByteArray("ab") << QByteArray("ax") << false;
    QTest::newRow("shorter") << QByteArray("abc") << QByteArray("ab") << false;
    QTest::newRow("longer") << QByteArray("ab") << QByteArray("abc") << false;
    QTest::newRow("longer by a zero byte") << QByteArray("ab") << QByteArray("ab\0", 3) << false;
    QTest::newRow("a zero byte first") << QByteArray(1, '\0') << QByteArray(1, '\0') << true;
    QTest::newRow("another 16th byte") << sixteen << QByteArray("0123456789abcdeX") << false;
    QTest::newRow("only the 17th byte differs") << sixteen + 'x' << sixteen + 'y' << true;
    QTest::newRow("17 and 18 bytes") << sixteen + 'x' << sixteen + "xx" << false;
}

void PollTrackingTest::tellsARepeatedReply()
{
    QFETCH(QByteArray, first);
    QFETCH(QByteArray, second);
    LastPollReply last;
    QVERIFY(!last.repeatedBy(ReplyView(first.size(), first.constData())));
    QTEST(last.repeatedBy(ReplyView(second.size(), second.constData())), "repeated");
}

void PollTrackingTest::comparesWithTheReplyBefore()
{
    LastPollReply last;
    QVERIFY(!last.repeatedBy(ReplyView(2, "ab")));
    QVERIFY(!last.repeatedBy(ReplyView(2, "cd")));
    QVERIFY(!last.repeatedBy(ReplyView(2, "ab")));
    QVERIFY(last.repeatedBy(ReplyView(2, "ab")));
    QVERIFY(last.repeatedBy(ReplyView(2, "ab")));
}

QTEST_GUILESS_MAIN(PollTrackingTest)

#include "tst_polltracking.moc"
