#include "documents.h"

#include "unit/billvalidator.h"
#include "unit/cashlessreader.h"
#include "unit/coinchanger.h"

#include <QRegularExpression>
#include <QTest>

namespace {

const QString document = "docs/protocol.md";
constexpr int poll = 0;

/// The cells of the rows below a device's heading whose first cell has a form.
QVector<QStringList> tableRows(const QString &device, const QString &firstCell)
{
    const QString section = documents::read(document).section("\n## " + device + '\n', 1);
    const QRegularExpression form("^\\| " + firstCell + " \\|");
    QVector<QStringList> rows;
    for (const QString &line : section.section("\n## ", 0, 0).split('\n')) {
        if (!form.match(line).hasMatch())
            continue;
        QStringList cells = line.split('|').mid(1);
        for (QString &cell : cells)
            cell = cell.remove('`').trimmed();
        rows.append(cells);
    }
    return rows;
}

/// The devices in the state that the document's examples presuppose.
class Changer : public CoinChanger
{
public:
    Changer()
    {
        setCoins("05", "00 1F", "01 02 04 0A 14 28");
        setPayoutAmount(150);
    }
};

class Validator : public BillValidator
{
public:
    Validator() { setBills("00 64", "02", "05 0A 14 32"); }
};

class Reader : public CashlessReader
{
public:
    Reader()
    {
        setVendItem(3, 130);
        exchange::bringUp(*this, poll);
        enable();
    }
};

template <class Device>
void bringUp(Device &device, int command)
{
    exchange::bringUp(device, command);
}

/// The answer to a revaluation clears its amount, so that it is asked for once only.
void bringUp(Reader &reader, int command)
{
    constexpr int revalue = 16;
    if (command != revalue)
        return exchange::bringUp(reader, command);
    reader.setRevalue(200);
    exchange::acknowledge(reader);
}

template <class Device>
QString bytesOf(int command)
{
    Device device;
    bringUp(device, command);
    return exchange::command(device).toUpper();
}

QString bytesOf(const QString &device, int command)
{
    if (device == "Coin changer")
        return bytesOf<Changer>(command);
    return device == "Bill validator" ? bytesOf<Validator>(command) : bytesOf<Reader>(command);
}

/// Actions that an answer to POLL reports; a dash for none.
template <class Device>
QString actionsAfter(const QByteArray &answer)
{
    Device device;
    device.answerTo(poll, answer);
    QStringList types;
    for (const ReportedRecord &reported : RecordSink::take()) {
        if (reported.hasAction())
            types.append(QString::number(reported.action().value("type").toInt()));
    }
    return types.isEmpty() ? QStringLiteral("\u2013") : types.join(' ');
}

QString actionsAfter(const QString &device, const QByteArray &answer)
{
    if (device == "Coin changer")
        return actionsAfter<Changer>(answer);
    return device == "Bill validator" ? actionsAfter<Validator>(answer)
                                      : actionsAfter<Reader>(answer);
}

} // namespace

/// The tables of bytes say what the protocol objects send and understand.
class TestProtocol : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void command_data();
    void command();
    void answerToPoll_data();
    void answerToPoll();
};

void TestProtocol::command_data()
{
    QTest::addColumn<QString>("device");
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("bytes");
    const auto rows = [](const QString &device, int count) {
        const auto table = tableRows(device, "[0-9]+");
        QCOMPARE(table.size(), count);
        for (const QStringList &cells : table)
            QTest::newRow(qPrintable(device + ": " + cells[1]))
                << device << cells[0].toInt() << cells[2];
    };
    rows("Coin changer", 11);
    rows("Bill validator", 12);
    rows("Cashless reader", 17);
}

void TestProtocol::command()
{
    QFETCH(QString, device);
    QFETCH(int, number);
    QFETCH(QString, bytes);
    QCOMPARE(bytesOf(device, number), bytes);
}

void TestProtocol::answerToPoll_data()
{
    QTest::addColumn<QString>("device");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("action");
    for (const QString device : {"Coin changer", "Bill validator", "Cashless reader"}) {
        for (const QStringList &cells : tableRows(device, "`[0-9A-F ]+`"))
            QTest::newRow(qPrintable(device + ": " + cells[0]))
                << device << cells[0].toLatin1() << cells[2];
    }
}

void TestProtocol::answerToPoll()
{
    QFETCH(QString, device);
    QFETCH(QByteArray, answer);
    QFETCH(QString, action);
    QCOMPARE(actionsAfter(device, answer), action);
}

QTEST_GUILESS_MAIN(TestProtocol)
#include "tst_protocol.moc"
