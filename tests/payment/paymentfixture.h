#pragma once

#include "support/fakeclock.h"
#include "support/logcapture.h"

#include "paymentmdb.h"

/// Device state records as the peripherals report them.
namespace records {

/// Adds an event to a record.
QJsonObject withAction(QJsonObject record, int type, QJsonObject action = {});
/// A coin changer that is ready to use.
QJsonObject changer(int factor = 1);
/// A bill validator that is ready to use.
QJsonObject validator();
/// A cashless reader that is ready to use; both readers report address 16.
QJsonObject reader(int num = 0);
/// A device state of {"active", "enable"}.
QJsonObject state(bool active, bool enable);
/// Of no kind that the item knows: it is published and changes nothing.
QJsonObject neutral();

} // namespace records

/// A payment item without a bus, on a clock that stands still: fed with records, its signals,
/// publications, log and queued commands collected.
class PaymentFixture
{
public:
    PaymentFixture();

    FakeClock clock;
    /// Outlives the bus thread, which logs as well.
    LogCapture log;
    PaymentMDB item;

    /// Settings without opening a port: every device is put out of use.
    void configure(QJsonObject settings);
    /// The changer's SETUP: its scaling factor, and whether any coin type goes to a tube.
    void setUpChanger(int factor, bool tubes = true);

    void report(const QJsonObject &record);
    void coin(int value, int factor = 1);
    void token(int value, int factor = 1);
    void universalToken(int coinType = 5);
    void coinEvent(int type) { report(records::withAction(records::changer(), type)); }
    void bill(int value);
    void billEvent(int type) { report(records::withAction(records::validator(), type)); }
    void readerReady(int num = 0) { report(records::reader(num)); }
    void alwaysIdleReader(int num = 0);
    /// Both, and each filed under a key of its own: the second with an address of its own.
    void bothReadersReady();
    void beginSession(int funds = 1000, int num = 0);
    void readerEvent(int type, int num = 0);
    /// Lets the clock run: true if deviceNeedWait(false) comes after so many ms, give or take a
    /// tenth; with 0, if it does not come within two minutes.
    bool waitEndsAfter(int ms);
    /// Publishes the credit as it stands, without an event.
    void refresh() { report(records::neutral()); }

    bool sell(int price, int num = 7);
    bool finish(int drinkState, QJsonObject more = {});

    /// What was emitted since the last call, in order: "allowMakeChanged true", "orderCancel" ...
    QStringList takeSignals();
    /// The number of times that a signal occurs in takeSignals().
    int takeCount(const QString &signal) { return takeSignals().count(signal); }
    /// The record that was published last.
    QJsonObject published() const { return m_published; }
    /// Its credit: "t<tokens> c<coins> b<bill> u<universal tokens> =<total>".
    QString credit() const;
    bool hasGoods() const { return m_published.contains(QStringLiteral("goods")); }

    /// Lets every device take the commands that wait. Returns their numbers by device, as
    /// "reader0 9; bill 8; coin 3 8"; POLL is left out.
    QString takeCommands();
    /// The same for one device, as bytes: "13 00 00 96 00 07".
    QStringList takeBytes(int deviceNo);

private:
    struct Command
    {
        int number;
        QByteArray bytes;
    };

    void recordSignals();
    std::vector<int> pending(int deviceNo);
    QVector<Command> drain(int deviceNo);

    QStringList m_signals;
    QJsonObject m_published;
};
