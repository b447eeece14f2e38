#pragma once

#include "machine.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QQmlEngine>
#include <QSignalSpy>
#include <QTest>

#include <functional>
#include <memory>

/// Waits for a condition with the ring's patience: the machine that runs the tests may be busy.
#define EVENTUALLY(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, SaleBench::patienceMs)
#define EVENTUALLY_EQUAL(actual, expected)                                                         \
    QTRY_COMPARE_WITH_TIMEOUT(actual, expected, SaleBench::patienceMs)

/// Coin types of the changer that a bench starts; the names are their values.
enum CoinType { Coin5, Coin10, Coin20, Coin50, Coin100, Coin200 };
/// Bill types of its validator.
enum BillType { Bill500, Bill1000, Bill2000, Bill5000 };

/// The item's numbers of the devices.
enum DeviceNumber { FirstReader, SecondReader, Validator, Changer };

enum DrinkState { DrinkReady, DrinkMaking, DrinkSuccess, DrinkFail };
enum VendType { CommonVend, FreeVend, TestVend, NegativeVend };

/// A simulated machine and the payment item of a QML engine that is its bus master. Everything
/// that the two report is kept.
class SaleBench : public QObject
{
    Q_OBJECT

public:
    static constexpr int patienceMs = 20000;

    SaleBench();
    /// The item goes before the machine.
    ~SaleBench() override;

    /// A changer whose payout is quick enough for a test; keys of extra replace the defaults.
    static QJsonObject changer(const QJsonObject &extra = {});

    /// Starts the machine, puts the devices that it has into use, shortens the item's delays,
    /// applies the settings and waits until every device is in service. False: see complaint().
    bool startMachine(const QJsonObject &config, const QJsonObject &settings = {});
    /// Starts the machine alone.
    bool powerOn(const QJsonObject &config);
    /// Every device in use was set up, is enabled and has nothing left to say.
    bool waitUntilReady();
    /// Every device in use is polled anew, a few times in a row with nothing to say: what was
    /// asked of it before is done.
    bool waitUntilQuiet();
    QString complaint() const { return m_complaint; }

    /// Null if the module could not be loaded.
    QObject *item() const { return m_item.get(); }
    void destroyItem() { m_item.reset(); }
    /// A new engine with a new item, as a kiosk does that reloads its user interface. The port is
    /// closed.
    void reload();
    mdbsim::Machine &machine() { return m_machine; }

    // The user interface.
    int install(const QString &port);
    void setting(const QJsonObject &settings);
    bool sell(int num, int price);
    bool finishDrink(DrinkState state, VendType type = CommonVend);
    bool cancelGoods();
    /// A method without arguments and result.
    void call(const char *method);

    /// A whole sale with coins and change, from an empty credit.
    bool cashSaleSucceeds();
    /// A whole sale by card at a reader.
    bool cardSaleSucceeds(const QString &reader);

    // The customer. False if the machine refuses.
    bool insertCoin(CoinType type);
    bool insertBill(BillType type);
    bool tapCard(const QString &reader, int funds);
    bool perform(const QString &device, const QString &action, const QJsonObject &fields = {});
    QJsonObject deviceState(const QString &device) const;
    /// A money value or count of the device's books.
    int book(const QString &device, const QString &key) const;

    // What was reported.
    /// The last published record, and a number in it.
    QJsonObject published() const { return m_published; }
    int published(const QString &key) const { return m_published.value(key).toInt(); }
    bool showsGoods() const { return m_published.contains("goods"); }
    /// The last device state record of a device number as it was published.
    QJsonObject record(int deviceNumber) const { return m_records.value(deviceNumber); }
    bool isInService(int deviceNumber) const;
    /// The machine's events of a name, in order.
    QVector<QJsonObject> events(const QString &name) const;
    int eventCount(const QString &name) const { return events(name).size(); }
    /// How often the machine was sent a command that begins with these bytes.
    int commandCount(const QByteArray &hexBytes) const;
    int exchangeCount() const { return m_exchanges; }
    void forgetSignals();

    std::unique_ptr<QSignalSpy> deviceInfo;
    std::unique_ptr<QSignalSpy> needWait;
    std::unique_ptr<QSignalSpy> allowMake;
    std::unique_ptr<QSignalSpy> cardTouched;
    std::unique_ptr<QSignalSpy> orderCancel;

private Q_SLOTS:
    void keepPublished(const QJsonObject &record);

private:
    void createItem();
    bool callWith(const char *method, const QJsonObject &argument);
    void keepExchange(const mdbsim::Exchange &exchange);
    bool complain(const QString &what);
    bool eventually(const std::function<bool()> &condition, const char *what, int ms = patienceMs);

    std::unique_ptr<QQmlEngine> m_engine = std::make_unique<QQmlEngine>();
    mdbsim::Machine m_machine;
    std::unique_ptr<QObject> m_item;
    QString m_complaint;
    /// Keys and numbers of the devices that the item polls.
    QMap<QString, int> m_inUse;
    QJsonObject m_published;
    QMap<int, QJsonObject> m_records;
    QVector<QJsonObject> m_events;
    QVector<QByteArray> m_commands;
    int m_exchanges = 0;
    /// POLLs in a row that a device had nothing to say to.
    QMap<QString, int> m_quietPolls;
    int m_goodsNumber = 0;
    int m_price = 0;
};
