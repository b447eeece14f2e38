#include <QtTest>

#include "trace.h"

using namespace mdbsim;

class TestTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchangeIsOneLine_data();
    void exchangeIsOneLine();
};

namespace {

Exchange polled(const char *answer, Exchange::Outcome outcome)
{
    Exchange exchange;
    exchange.timeUs = 12345000;
    exchange.deviceName = QStringLiteral("coin changer");
    exchange.command = QStringLiteral("POLL");
    exchange.answer = QString::fromLatin1(answer);
    exchange.outcome = outcome;
    exchange.ackDelayUs = 3100;
    return exchange;
}

} // namespace

void TestTrace::exchangeIsOneLine_data()
{
    QTest::addColumn<Exchange>("exchange");
    QTest::addColumn<QString>("expected");
    using Outcome = Exchange::Outcome;
    const char *coin = "coin deposited: type 2 to tube, 7 in tube";

    QTest::newRow("acknowledged in time")
        << polled(coin, Outcome::Acked)
        << "12.345 coin changer  POLL -> coin deposited: type 2 to tube, 7 in tube"
           "  ACK after 3.1 ms";
    QTest::newRow("acknowledged late")
        << polled("lever pressed", Outcome::AckedLate)
        << "12.345 coin changer  POLL -> lever pressed  ACK late after 3.1 ms";
    QTest::newRow("not acknowledged")
        << polled("lever pressed", Outcome::NotAcked)
        << "12.345 coin changer  POLL -> lever pressed  not acknowledged";
    QTest::newRow("acknowledged unseen")
        << polled("lever pressed", Outcome::AckLost)
        << "12.345 coin changer  POLL -> lever pressed  ACK lost after 3.1 ms";
    QTest::newRow("nothing to acknowledge")
        << polled("ACK", Outcome::Answered) << "12.345 coin changer  POLL -> ACK";

    Exchange silent = polled("silence", Outcome::Silent);
    silent.unplugged = true;
    QTest::newRow("unplugged") << silent << "12.345 coin changer  POLL -> silence  [unplugged]";

    Exchange lost = polled("lever pressed", Outcome::Silent);
    lost.fault = FaultKind::Silence;
    QTest::newRow("fault without bytes")
        << lost << "12.345 coin changer  POLL -> lever pressed  [silence, sent: nothing]";

    Exchange wrong = polled("lever pressed", Outcome::NotAcked);
    wrong.fault = FaultKind::WrongCheckByte;
    wrong.sent = QByteArray::fromHex("0100");
    QTest::newRow("fault with bytes")
        << wrong
        << "12.345 coin changer  POLL -> lever pressed  not acknowledged"
           "  [wrongCheckByte, sent: 01 00]";

    Exchange late = polled("ACK", Outcome::Answered);
    late.sent = QByteArray(1, '\x00');
    late.replyDelayUs = 5001;
    QTest::newRow("late reply") << late << "12.345 coin changer  POLL -> ACK  late after 5.0 ms";
    late.replyDelayUs = 5000;
    QTest::newRow("reply in time") << late << "12.345 coin changer  POLL -> ACK";

    Exchange reset = polled("ACK", Outcome::Answered);
    reset.resetReason = ResetReason{ResetReason::Cause::Unanswered, 6};
    QTest::newRow("reset") << reset
                           << "12.345 coin changer  POLL -> ACK  because: 6 commands unanswered";

    Exchange early = polled("ACK", Outcome::Answered);
    early.timeUs = 7000;
    QTest::newRow("first milliseconds") << early << "0.007 coin changer  POLL -> ACK";
}

void TestTrace::exchangeIsOneLine()
{
    QFETCH(Exchange, exchange);
    QFETCH(QString, expected);
    QCOMPARE(exchange.line(), expected);
}

QTEST_APPLESS_MAIN(TestTrace)
#include "tst_trace.moc"
