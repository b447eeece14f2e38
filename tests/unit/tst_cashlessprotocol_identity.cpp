#include "unit/cashlessreader.h"

#include <QtTest>

using exchange::answer;
using exchange::bringUp;
using exchange::byteLines;
using exchange::json;
using exchange::printedBy;

namespace {

/// A level 3 reader's identification, 34 data bytes: manufacturer ABC, 24 characters of serial
/// number and model, software version 3031 and an option word that ends with options.
QByteArray identification(char options, const QByteArray &identity = "ABC123456789012model-123456")
{
    return '\x09' + identity + "01" + exchange::bytes("00 00 00") + options;
}

QByteArray withCheckByte(const QByteArray &data)
{
    return exchange::block(data.toHex());
}

/// A reader that has told its level and country code 0x18 0x40.
class ReaderOfLevel : public CashlessReader
{
public:
    explicit ReaderOfLevel(const QByteArray &level)
    {
        answerTo(3, "01 " + level + " 18 40 01 02 1E 00");
        exchange::bringUp(*this, 0);
        RecordSink::take();
    }
};

} // namespace

class CashlessProtocolIdentityTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reportsThePeripheralId();
    void reportsTheLevelWithAnIdentification_data();
    void reportsTheLevelWithAnIdentification();
    void printsThePeripheralId_data();
    void printsThePeripheralId();
    void reportsTheAnswerToRequestId();
    void printsTheAnswerToRequestId_data();
    void printsTheAnswerToRequestId();
    void ignoresAFailedRequestId();
    void doesNotCheckTheFirstByteOfTheAnswer();
    void readsAlwaysIdle_data();
    void readsAlwaysIdle();
    void readsAlwaysIdleOfLevel3Only_data();
    void readsAlwaysIdleOfLevel3Only();
    void forgetsAlwaysIdle();
    void runsOnIntoSerialAndModel_kept_data();
    void runsOnIntoSerialAndModel_kept();
    void endsTheTextWithTheModel();
    void keepsSerialAndModelForLaterManufacturers_kept();
    void doesNotStoreSerialAndModelOfTheAnswer();
    void takesTheTextForUtf8();
};

void CashlessProtocolIdentityTest::reportsThePeripheralId()
{
    ReaderOfLevel reader("03");
    exchange::answerRaw(reader, withCheckByte(identification(0x20)));
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 0, "num": 0, "deviceAddress": 16, "level": 3,
                                     "aliwaysIdle": true,
                                     "manuInfo": "ABC123456789012model-123456",
                                     "state": {"active": false, "enable": false}})")});
    QCOMPARE(reader.pendingCommands(), std::vector<int>{0});
}

void CashlessProtocolIdentityTest::reportsTheLevelWithAnIdentification_data()
{
    QTest::addColumn<int>("command");
    QTest::newRow("peripheral id") << 0;
    QTest::newRow("answer to request id") << 13;
}

void CashlessProtocolIdentityTest::reportsTheLevelWithAnIdentification()
{
    QFETCH(int, command);
    CashlessReader reader;
    bringUp(reader, command);
    RecordSink::take();
    exchange::answerRaw(reader, withCheckByte(identification(0x20)));
    QCOMPARE(RecordSink::take().value(0).record.value("level"), QJsonValue(0));
}

void CashlessProtocolIdentityTest::printsThePeripheralId_data()
{
    QTest::addColumn<QByteArray>("level");
    QTest::addColumn<char>("options");
    QTest::addColumn<QByteArray>("options text");

    const QByteArray text("MDB_REPLY_PERIPHERIAL_ID Always Idle 0x");
    QTest::newRow("level 3") << QByteArray("03") << '\x20' << text + "20\n";
    QTest::newRow("level 3, other options") << QByteArray("03") << '\x0F' << text + "f\n";
    QTest::newRow("level 2") << QByteArray("02") << '\x20' << QByteArray();
}

void CashlessProtocolIdentityTest::printsThePeripheralId()
{
    QFETCH(QByteArray, level);
    QFETCH(char, options);
    const QByteArray reply = withCheckByte(identification(options));
    ReaderOfLevel reader(level);
    const QByteArray printed = printedBy([&] { exchange::answerRaw(reader, reply); });
    const QByteArray bytes = "------------MDB_REPLY_PERIPHERIAL_ID ----------------\n"
        + byteLines("MDB_REPLY_PERIPHERIAL_ID ", reply);
    QCOMPARE(printed.left(bytes.size()), bytes);
    QTEST(printed.mid(bytes.size()), "options text");
}

void CashlessProtocolIdentityTest::reportsTheAnswerToRequestId()
{
    ReaderOfLevel reader("03");
    bringUp(reader, 13);
    exchange::answerRaw(reader, withCheckByte(identification(0x20)));
    QCOMPARE(RecordSink::takeRecords(),
             QByteArrayList{json(R"({"type": 0, "num": 0, "deviceAddress": 16, "level": 3,
                                     "aliwaysIdle": true, "countryCode": "1840H",
                                     "manuInfo": "ABC",
                                     "state": {"active": false, "enable": false}})")});
}

void CashlessProtocolIdentityTest::printsTheAnswerToRequestId_data()
{
    QTest::addColumn<QByteArray>("level");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("options text");

    const QByteArray text("analysisRequestId Always Idle 0x");
    QTest::newRow("level 3") << QByteArray("03") << 35 << text + "21\n";
    QTest::newRow("level 3, byte 33 is the last") << QByteArray("03") << 34 << text + "21\n";
    QTest::newRow("level 3, byte 33 not received") << QByteArray("03") << 33 << text + "0\n";
    QTest::newRow("level 3, bare ACK") << QByteArray("03") << 1 << text + "0\n";
    QTest::newRow("level 2") << QByteArray("02") << 35 << QByteArray();
    QTest::newRow("level 2, bare ACK") << QByteArray("02") << 1 << QByteArray();
}

void CashlessProtocolIdentityTest::printsTheAnswerToRequestId()
{
    QFETCH(QByteArray, level);
    QFETCH(int, length);
    const QByteArray reply = withCheckByte(identification(0x21));
    ReaderOfLevel reader(level);
    bringUp(reader, 13);
    const QByteArray printed = printedBy([&] { exchange::deliver(reader, length, reply); });
    const QByteArray bytes = byteLines("[cashless_request_id]", reply.left(length));
    QCOMPARE(printed.left(bytes.size()), bytes);
    QTEST(printed.mid(bytes.size()), "options text");
    QCOMPARE(RecordSink::take().size(), 1);
}

void CashlessProtocolIdentityTest::ignoresAFailedRequestId()
{
    ReaderOfLevel reader("03");
    for (const int code : {0, -1, -5}) {
        bringUp(reader, 13);
        const QJsonObject before = reader.record();
        QCOMPARE(printedBy(
                     [&] { exchange::deliver(reader, code, withCheckByte(identification(0x20))); }),
                 QByteArray());
        QCOMPARE(reader.record(), before);
    }
    QCOMPARE(RecordSink::takeRecords(), QByteArrayList());
}

void CashlessProtocolIdentityTest::doesNotCheckTheFirstByteOfTheAnswer()
{
    ReaderOfLevel reader("03");
    reader.answerTo(13, "FF 41 42 43");
    QCOMPARE(RecordSink::take().at(0).record.value("manuInfo").toString(), QString("ABC"));
}

void CashlessProtocolIdentityTest::readsAlwaysIdle_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<char>("options");
    QTest::addColumn<bool>("alwaysIdle");

    for (const int number : {0, 13}) {
        const QByteArray way = number == 0 ? "as POLL reply" : "as answer to request ID";
        QTest::newRow(way + ", bit 5") << number << '\x20' << true;
        QTest::newRow(way + ", every bit") << number << '\xFF' << true;
        QTest::newRow(way + ", every bit but 5") << number << '\xDF' << false;
        QTest::newRow(way + ", no bit") << number << '\0' << false;
    }
}

void CashlessProtocolIdentityTest::readsAlwaysIdle()
{
    QFETCH(int, number);
    QFETCH(char, options);
    ReaderOfLevel reader("03");
    bringUp(reader, number);
    exchange::answerRaw(reader, withCheckByte(identification(options)));
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 1);
    QTEST(reports[0].record.value("aliwaysIdle").toBool(), "alwaysIdle");
}

void CashlessProtocolIdentityTest::readsAlwaysIdleOfLevel3Only_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("level");

    for (const int number : {0, 13})
        for (const char *level : {"00", "01", "02", "04"})
            QTest::newRow(QByteArray("level ") + level
                          + (number == 0 ? ", POLL reply" : ", answer to request ID"))
                << number << QByteArray(level);
}

void CashlessProtocolIdentityTest::readsAlwaysIdleOfLevel3Only()
{
    QFETCH(int, number);
    QFETCH(QByteArray, level);
    ReaderOfLevel reader(level);
    bringUp(reader, number);
    exchange::answerRaw(reader, withCheckByte(identification(0x20)));
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 1);
    QCOMPARE(reports[0].record.value("aliwaysIdle"), QJsonValue(false));
    QCOMPARE(reports[0].record.value("level").toInt(-1), level.toInt());
}

void CashlessProtocolIdentityTest::forgetsAlwaysIdle()
{
    ReaderOfLevel reader("03");
    exchange::answerRaw(reader, withCheckByte(identification(0x20)));
    // Byte 33 is not received.
    reader.answerTo(13, "09 41 42 43");
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 2);
    QVERIFY(reports[0].record.value("aliwaysIdle").toBool());
    QVERIFY(!reports[1].record.value("aliwaysIdle").toBool());
}

void CashlessProtocolIdentityTest::runsOnIntoSerialAndModel_kept_data()
{
    QTest::addColumn<QByteArray>("identity");
    QTest::addColumn<QString>("manufacturer");

    QTest::newRow("up to a zero in the serial number")
        << QByteArray("ABC12\0", 6).leftJustified(27, 'x') << "ABC12";
    QTest::newRow("zero behind the manufacturer")
        << QByteArray("ABC\0", 4).leftJustified(27, 'x') << "ABC";
    QTest::newRow("zero in the manufacturer")
        << QByteArray("A\0C", 3).leftJustified(27, 'x') << "A";
    QTest::newRow("zero in the model")
        << QByteArray("ABC123456789012model\0", 21).leftJustified(27, 'x')
        << "ABC123456789012model";
}

void CashlessProtocolIdentityTest::runsOnIntoSerialAndModel_kept()
{
    QFETCH(QByteArray, identity);
    ReaderOfLevel reader("03");
    exchange::answerRaw(reader, withCheckByte(identification(0x20, identity)));
    QTEST(RecordSink::take().at(0).record.value("manuInfo").toString(), "manufacturer");
}

void CashlessProtocolIdentityTest::endsTheTextWithTheModel()
{
    ReaderOfLevel reader("03");
    exchange::answerRaw(reader, withCheckByte(identification(0x20, QByteArray(27, 'M'))));
    QCOMPARE(RecordSink::take().at(0).record.value("manuInfo").toString(), QString(27, 'M'));
}

void CashlessProtocolIdentityTest::keepsSerialAndModelForLaterManufacturers_kept()
{
    ReaderOfLevel reader("03");
    exchange::answerRaw(reader, withCheckByte(identification(0x20)));
    answer(reader, "01 58 59 5A");
    reader.answerTo(13, "09 4B 4C 4D");
    const auto reports = RecordSink::take();
    QCOMPARE(reports.size(), 3);
    QCOMPARE(reports[1].record.value("manuInfo").toString(),
             QString("XYZ123456789012model-123456"));
    QCOMPARE(reports[2].record.value("manuInfo").toString(),
             QString("KLM123456789012model-123456"));
}

void CashlessProtocolIdentityTest::doesNotStoreSerialAndModelOfTheAnswer()
{
    ReaderOfLevel reader("03");
    bringUp(reader, 13);
    exchange::answerRaw(reader, withCheckByte(identification(0x20)));
    answer(reader, "01 58 59 5A");
    QCOMPARE(RecordSink::take().at(1).record.value("manuInfo").toString(), QString("XYZ"));
}

void CashlessProtocolIdentityTest::takesTheTextForUtf8()
{
    ReaderOfLevel reader("03");
    const QString text = QStringLiteral("Z\u00fcrich \u20ac12345678model");
    const QByteArray identity = text.toUtf8().leftJustified(27, '\0');
    QCOMPARE(identity.size(), 27);
    exchange::answerRaw(reader, withCheckByte(identification(0x20, identity)));
    QCOMPARE(RecordSink::take().at(0).record.value("manuInfo").toString(), text);
}

QTEST_GUILESS_MAIN(CashlessProtocolIdentityTest)

#include "tst_cashlessprotocol_identity.moc"
