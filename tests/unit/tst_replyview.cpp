#include "replyview.h"

#include <QtTest>

#include <numeric>
#include <vector>

namespace {

/// A reply buffer of 40 bytes 1, 2, 3 ... 40 and nothing behind it.
std::vector<char> numberedBytes()
{
    std::vector<char> buffer(40);
    std::iota(buffer.begin(), buffer.end(), char(1));
    return buffer;
}

} // namespace

class ReplyViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsItsSizes_data();
    void knowsItsSizes();
    void readsOnlyWhatWasReceived_data();
    void readsOnlyWhatWasReceived();
    void readsTwoBytesMostSignificantFirst_data();
    void readsTwoBytesMostSignificantFirst();
    void readsTextUpToAZeroOrTheEnd_data();
    void readsTextUpToAZeroOrTheEnd();
    void readsBytesAsUnsigned();
    void readsNothingFromANullBuffer();
};

void ReplyViewTest::knowsItsSizes_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("dataSize");

    QTest::newRow("failure code -5") << -5 << 0 << 0;
    QTest::newRow("failure code -1") << -1 << 0 << 0;
    QTest::newRow("nothing") << 0 << 0 << 0;
    QTest::newRow("bare byte") << 1 << 1 << 0;
    QTest::newRow("one data byte and check byte") << 2 << 2 << 1;
    QTest::newRow("longest block of the standard") << 37 << 37 << 36;
    QTest::newRow("full buffer") << 40 << 40 << 39;
    QTest::newRow("length beyond the buffer") << 41 << 40 << 39;
}

void ReplyViewTest::knowsItsSizes()
{
    QFETCH(int, length);
    const auto buffer = numberedBytes();
    const ReplyView reply(length, buffer.data());
    QCOMPARE(reply.length(), length);
    QTEST(reply.size(), "size");
    QTEST(reply.dataSize(), "dataSize");
}

void ReplyViewTest::readsOnlyWhatWasReceived_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("byte");

    QTest::newRow("first byte") << 3 << 0 << 1;
    QTest::newRow("last byte received") << 3 << 2 << 3;
    QTest::newRow("one beyond what was received") << 3 << 3 << 0;
    QTest::newRow("before the reply") << 3 << -1 << 0;
    QTest::newRow("first byte of a failure") << -1 << 0 << 0;
    QTest::newRow("last byte of a full buffer") << 40 << 39 << 40;
    QTest::newRow("one beyond a full buffer") << 41 << 40 << 0;
}

void ReplyViewTest::readsOnlyWhatWasReceived()
{
    QFETCH(int, length);
    QFETCH(int, offset);
    const auto buffer = numberedBytes();
    QTEST(int(ReplyView(length, buffer.data())[offset]), "byte");
}

void ReplyViewTest::readsTwoBytesMostSignificantFirst_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("word");

    QTest::newRow("both received") << 3 << 1 << 0x0203;
    QTest::newRow("low byte not received") << 3 << 2 << 0x0300;
    QTest::newRow("neither received") << 3 << 3 << 0;
    QTest::newRow("across the end of the buffer") << 41 << 39 << 0x2800;
}

void ReplyViewTest::readsTwoBytesMostSignificantFirst()
{
    QFETCH(int, length);
    QFETCH(int, offset);
    const auto buffer = numberedBytes();
    QTEST(int(ReplyView(length, buffer.data()).readU16(offset)), "word");
}

void ReplyViewTest::readsTextUpToAZeroOrTheEnd_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("up to the end") << QByteArray("..text") << QByteArray("text");
    QTest::newRow("up to a zero") << QByteArray("..te\0xt", 7) << QByteArray("te");
    QTest::newRow("zero first") << QByteArray("..\0text", 7) << QByteArray();
    QTest::newRow("reply ends before the text") << QByteArray(".") << QByteArray();
    QTest::newRow("full buffer without a zero") << QByteArray(40, 'x') << QByteArray(38, 'x');
}

void ReplyViewTest::readsTextUpToAZeroOrTheEnd()
{
    QFETCH(QByteArray, received);
    std::vector<char> buffer(40, 'x');
    std::copy(received.begin(), received.end(), buffer.begin());
    QTEST(ReplyView(received.size(), buffer.data()).textFrom(2), "text");
}

void ReplyViewTest::readsBytesAsUnsigned()
{
    const char buffer[] = {char(0xFF), char(0x80)};
    const ReplyView reply(2, buffer);
    QCOMPARE(int(reply[0]), 0xFF);
    QCOMPARE(int(reply.readU16(0)), 0xFF80);
}

void ReplyViewTest::readsNothingFromANullBuffer()
{
    const ReplyView reply(5, nullptr);
    QCOMPARE(reply.length(), 5);
    QCOMPARE(reply.size(), 0);
    QCOMPARE(int(reply[0]), 0);
    QCOMPARE(reply.textFrom(0), QByteArray());
}

QTEST_GUILESS_MAIN(ReplyViewTest)

#include "tst_replyview.moc"
