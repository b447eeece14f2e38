#include <QtTest>

#include "resetreason.h"
#include "trace.h"

using namespace mdbsim;

namespace {

using Outcome = Exchange::Outcome;

/// One exchange, a second after the one before it unless it says otherwise.
struct Step
{
    const char *block;
    Outcome outcome;
    const char *answer;
    const char *sent;
    int afterMs = 1000;
};

Step answered(const char *block)
{
    return {block, Outcome::Answered, "ACK", "00"};
}

Step refused(const char *block)
{
    return {block, Outcome::Answered, "NAK", "ff"};
}

Step unanswered(const char *block)
{
    return {block, Outcome::Silent, "silence", ""};
}

Step acknowledged(const char *block, const char *answer)
{
    return {block, Outcome::Acked, answer, "0000"};
}

Step damaged(const char *block, const char *answer)
{
    return {block, Outcome::NotAcked, answer, "00"};
}

Step later(Step step, int afterMs)
{
    step.afterMs = afterMs;
    return step;
}

QVector<Step> times(int count, const Step &step)
{
    return QVector<Step>(count, step);
}

Exchange exchangeOf(const Step &step, qint64 timeUs)
{
    Exchange exchange;
    exchange.timeUs = timeUs;
    exchange.block = QByteArray::fromHex(step.block);
    exchange.outcome = step.outcome;
    exchange.answer = QString::fromLatin1(step.answer);
    exchange.sent = QByteArray::fromHex(step.sent);
    return exchange;
}

/// The words of the last exchange; "none" if it was no RESET.
QString reasonAfter(const QVector<Step> &steps, ResetObserver observer = {})
{
    std::optional<ResetReason> reason;
    qint64 timeUs = 0;
    for (const Step &step : steps) {
        timeUs += step.afterMs * 1000;
        reason = observer.observe(exchangeOf(step, timeUs));
    }
    return reason ? reason->words() : QStringLiteral("none");
}

const Step changerReset = answered("08");
const Step changerPoll = answered("0B");
const Step readerReset = answered("10");
const Step readerPoll = answered("12");
const Step secondReaderPoll = answered("62");
const Step lostPoll = unanswered("0B");

} // namespace

Q_DECLARE_METATYPE(QVector<Step>)

class TestResetReason : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reasonFollowsFromTheBus_data();
    void reasonFollowsFromTheBus();
    void portThatCameBackIsAReason();
    void resetClosesTheBook();
};

void TestResetReason::reasonFollowsFromTheBus_data()
{
    QTest::addColumn<QVector<Step>>("steps");
    QTest::addColumn<QString>("expected");
    using Steps = QVector<Step>;
    const Step isReset = acknowledged("0B", "was reset");
    const Step readerIsReset = acknowledged("12", "just reset");
    const Step outOfSequence = acknowledged("12", "out of sequence: disabled");
    const Step enable = answered("1401");
    const Step disable = answered("1400");

    QTest::newRow("no reset") << Steps{changerReset, changerPoll} << "none";
    QTest::newRow("first one") << Steps{isReset, changerReset} << "first contact";
    QTest::newRow("without any cause")
        << Steps{changerReset, changerPoll, changerReset} << "no cause on the bus";

    QTest::newRow("six lost polls") << Steps{changerReset} + times(6, lostPoll)
            + Steps{changerReset} << "6 commands unanswered";
    QTest::newRow("two lost polls") << Steps{changerReset} + times(2, lostPoll)
            + Steps{changerReset} << "2 commands unanswered";
    QTest::newRow("one lost poll")
        << Steps{changerReset, lostPoll, changerReset} << "no cause on the bus";
    QTest::newRow("lost polls, then an answer") << Steps{changerReset} + times(6, lostPoll)
            + Steps{changerPoll, changerReset} << "no cause on the bus";
    QTest::newRow("back after lost polls") << Steps{changerReset} + times(6, lostPoll)
            + Steps{isReset, changerReset} << "device reported just reset";

    QTest::newRow("changer was reset")
        << Steps{changerReset, isReset, changerReset} << "device reported just reset";
    QTest::newRow("was reset, but not acknowledged")
        << Steps{changerReset, damaged("0B", "was reset"), changerReset} << "no cause on the bus";
    QTest::newRow("was reset twenty exchanges before")
        << Steps{changerReset, isReset} + times(20, changerPoll) + Steps{changerReset}
        << "device reported just reset";
    QTest::newRow("was reset long ago") << Steps{changerReset, isReset} + times(21, changerPoll)
            + Steps{changerReset} << "no cause on the bus";

    QTest::newRow("damaged replies")
        << Steps{changerReset} + times(3, damaged("0B", "lever pressed")) + Steps{changerReset}
        << "3 replies refused or damaged";
    QTest::newRow("NAKs") << Steps{changerReset, refused("0B"), refused("0C"), changerReset}
                          << "2 replies refused or damaged";
    QTest::newRow("damaged replies, then a good one")
        << Steps{changerReset, refused("0B"), refused("0B"), changerPoll, changerReset}
        << "no cause on the bus";

    QTest::newRow("out of sequence")
        << Steps{readerReset, readerIsReset, outOfSequence, readerPoll, readerReset}
        << "device reported out of sequence";
    QTest::newRow("out of sequence long ago")
        << Steps{readerReset, enable, outOfSequence} + times(21, readerPoll) + Steps{readerReset}
        << "no cause on the bus";

    QTest::newRow("eleven ACKs of a reader") << Steps{readerReset} + times(11, readerPoll)
            + Steps{readerReset} << "11 bare ACKs while the reader was not enabled";
    QTest::newRow("eleven ACKs of the second reader")
        << Steps{answered("60")} + times(11, secondReaderPoll) + Steps{answered("60")}
        << "11 bare ACKs while the reader was not enabled";
    QTest::newRow("ten ACKs of a reader")
        << Steps{readerReset} + times(10, readerPoll) + Steps{readerReset} << "no cause on the bus";
    QTest::newRow("ACKs of a reader after a lost poll") << Steps{readerReset} + times(6, readerPoll)
            + Steps{unanswered("12")} + times(6, readerPoll)
            + Steps{readerReset} << "no cause on the bus";
    QTest::newRow("ACKs of an enabled reader") << Steps{readerReset, enable} + times(30, readerPoll)
            + Steps{readerReset} << "no cause on the bus";
    QTest::newRow("ACKs of a reader that was disabled")
        << Steps{readerReset, enable, disable} + times(11, readerPoll) + Steps{readerReset}
        << "11 bare ACKs while the reader was not enabled";
    QTest::newRow("enabled after the eleventh ACK") << Steps{readerReset} + times(11, readerPoll)
            + Steps{enable, readerReset} << "11 bare ACKs while the reader was not enabled";
    QTest::newRow("ACKs from before the last reset count") << Steps{readerReset, enable}
            + times(5, readerPoll) + Steps{readerReset} + times(6, readerPoll)
            + Steps{readerReset} << "11 bare ACKs while the reader was not enabled";
    QTest::newRow("ACKs to prices count, to a vend request not")
        << Steps{readerReset, answered("130000960007"), answered("1101FFFF0000")}
            + times(9, readerPoll) + Steps{readerReset}
        << "no cause on the bus";
    QTest::newRow("ACKs of a reader that was lost") << Steps{readerReset, enable}
            + times(6, unanswered("12")) + times(11, readerPoll)
            + Steps{readerReset} << "11 bare ACKs while the reader was not enabled";
    QTest::newRow("ACKs of a changer") << Steps{changerReset} + times(30, changerPoll)
            + Steps{changerReset} << "no cause on the bus";

    QTest::newRow("pause") << Steps{changerReset, later(changerPoll, 2000), changerReset}
                           << "after a pause of the master";
    QTest::newRow("no pause yet") << Steps{changerReset, later(changerPoll, 1999), changerReset}
                                  << "no cause on the bus";
    QTest::newRow("lost polls before a pause") << Steps{changerReset} + times(6, lostPoll)
            + Steps{later(changerReset, 2000)} << "after a pause of the master";
    QTest::newRow("ACKs after a pause") << Steps{readerReset, enable, later(readerPoll, 5000)}
            + times(10, readerPoll)
            + Steps{readerReset} << "11 bare ACKs while the reader was not enabled";
}

void TestResetReason::reasonFollowsFromTheBus()
{
    QFETCH(QVector<Step>, steps);
    QFETCH(QString, expected);
    QCOMPARE(reasonAfter(steps), expected);
}

void TestResetReason::portThatCameBackIsAReason()
{
    ResetObserver observer;
    observer.observe(exchangeOf(changerReset, 1000));
    observer.portReopened();
    QCOMPARE(reasonAfter({changerPoll, changerReset}, observer),
             QStringLiteral("after the port came back"));
    QCOMPARE(reasonAfter({lostPoll, lostPoll, changerReset}, observer),
             QStringLiteral("2 commands unanswered"));
}

void TestResetReason::resetClosesTheBook()
{
    ResetObserver observer;
    observer.observe(exchangeOf(changerReset, 1000));
    observer.portReopened();
    observer.observe(exchangeOf(changerReset, 2000));
    QCOMPARE(reasonAfter({changerPoll, changerReset}, observer),
             QStringLiteral("no cause on the bus"));
}

QTEST_APPLESS_MAIN(TestResetReason)
#include "tst_resetreason.moc"
