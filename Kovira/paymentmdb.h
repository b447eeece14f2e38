#pragma once

#include "mdbcontroller.h"
#include "paymentrules.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QQuickItem>
#include <QTimer>

#include <array>

/// What the payment item keeps of a cashless reader, from its last record.
struct CashlessReaderInfo
{
    /// "state" of the record.
    QJsonObject state;
    /// Device number 0 or 1.
    int num = 0;
    /// Feature level.
    int level = 0;
    /// It was told to take cards.
    bool enable = false;
    /// It answers.
    bool active = false;
    /// A vend may be requested without a card.
    bool aliwaysIdle = false;
    /// Manufacturer, for people.
    QString manuInfo;

    /// Whether a vend may be asked for.
    bool usable() const { return enable && active; }
};

/// The payment controller of a vending machine: credit from coins, tokens, bills and cards, the
/// sale of one drink after the other, and change.
///
/// Amounts are in the currency's smallest unit, times in milliseconds. Everything here runs on
/// the item's thread; the bus has a thread of its own (MdbController), whose records arrive
/// queued.
class PaymentMDB : public QQuickItem
{
    Q_OBJECT
    /// Version of the payment controller.
    Q_PROPERTY(QString version READ version)
    /// Goods were set and their sale is not over.
    Q_PROPERTY(bool haveGoods READ haveGoods NOTIFY haveGoodsChanged)

public:
    /// What happens to credit that a drink leaves: change at once, or kept for more drinks.
    enum MAKE_MODEL { Single_Model = 0, More = 1 };
    Q_ENUM(MAKE_MODEL)
    /// The "state" that makingFinish() takes.
    enum DRINK_STATUS { Drink_Ready = 0, Drink_Making = 1, Drink_Success = 2, Drink_Fail = 3 };
    Q_ENUM(DRINK_STATUS)
    /// The "type" of a device state record.
    enum DEVICE_TYPE { Cashless = 0, Bill = 1, Coin = 2 };
    Q_ENUM(DEVICE_TYPE)
    /// The "vendCashType" that makingFinish() takes; it knows the first three.
    enum CASH_VEND_TYPE {
        COMMON_VEND_TYPE = 0,
        FREE_VEND_TYPE = 1,
        TEST_VEND_TYPE = 2,
        NEGATIVE_VEND_TYPE = 3,
        TOKEN_VEND_TYPE = 4
    };
    Q_ENUM(CASH_VEND_TYPE)

    /// An item without a bus: see install().
    explicit PaymentMDB(QQuickItem *parent = nullptr);

    /// "V" and three numbers.
    QString version() const { return m_version; }
    /// Goods were set and their sale is not over.
    bool haveGoods() const { return m_haveGoods; }

    /// Opens the serial device and starts the bus. Returns a value above 0, or -1 when the device
    /// cannot be opened or is no serial line; a bus that was running then goes on.
    Q_INVOKABLE int install(const QString &port);
    /// Stops the bus, drops all credit but universal tokens and publishes that.
    Q_INVOKABLE void closeMDB();
    /// Applies the settings that the object contains, and opens the bus anew, or stops it when no
    /// device is in use. docs/qml-api.md lists the keys.
    Q_INVOKABLE void setting(const QJsonObject &obj);
    /// Starts the sale of {"num", "price"}. False if a key is missing, or if a drink has just
    /// finished: the sale then starts by itself three seconds later.
    Q_INVOKABLE bool setSellGoods(const QJsonObject &obj);
    /// Ends the sale with the drink's result {"num", "price", "state", "vendCashType"}.
    Q_INVOKABLE bool makingFinish(const QJsonObject &obj);
    /// Abandons the sale.
    Q_INVOKABLE bool cancelGoods();
    /// Gives the customer back what is left: the bill in escrow and change; tokens are forfeited.
    Q_INVOKABLE void settleAccounts();
    /// Asks the coin changer for its tube counts.
    Q_INVOKABLE void updateTubeState();
    /// Sends the machine's warning and error words to the first cashless reader.
    Q_INVOKABLE void sendDiagnostic(int warnLsb, int warnHsb, int errorLsb, int errorHsb);
    /// Requests a vend of item 1 at a price from the first cashless reader.
    Q_INVOKABLE void vendPrice(int price);
    /// Stacks the bill in escrow.
    Q_INVOKABLE void escrowStack();
    /// Returns the bill in escrow.
    Q_INVOKABLE void escrowReturn();
    /// Queues a command of the bill validator by its number (service use).
    Q_INVOKABLE void billTestCmd(int cmd);

    /// The bus behind the item, for tests and tools in C++.
    MdbController *mdbController() { return &m_mdbController; }

Q_SIGNALS:
    /// The published record: credit, goods and the last device state record.
    void deviceInfoChanged(QJsonObject deviceObj);
    /// Emitted with false only: the customer need not wait any longer.
    void deviceNeedWait(bool state);
    /// Emitted with true only: the drink may be made.
    void allowMakeChanged(bool allowMake);
    /// A card session opened or ended.
    void cardTouched(bool touch);
    /// The order failed: the reader denied it and the credit does not cover the price.
    void orderCancel();
    /// Goods were set, also anew, or makingFinish() ended their sale.
    void haveGoodsChanged();

private Q_SLOTS:
    void getDeviceInfo(QJsonObject deviceInfo);

private:
    using SettlementHandler = void (PaymentMDB::*)();
    using RecordHandler = void (PaymentMDB::*)(const QJsonObject &record);
    /// The handler of an event, the "type" of a record's "action".
    struct EventRow
    {
        int event;
        RecordHandler handler;
    };

    // paymentmdb.cpp
    void initTimer();
    void overTimeProtect();
    void updateAcceptValue();
    void insertCredit();
    void removeGoods();
    void publish();
    void allowMaking();
    void startPayEndTimer();

    // paymentmdb_settings.cpp
    void allowValue();
    void notAllowValue();

    // paymentmdb_events.cpp
    template <int Rows>
    void dispatch(const EventRow (&table)[Rows], const QJsonObject &record);
    void handleBillRecord(const QJsonObject &record);
    void handleCoinRecord(QJsonObject *record);
    bool handleCashlessRecord(const QJsonObject &record);
    void onBillInEscrow(const QJsonObject &record);
    void onBillGone(const QJsonObject &record);
    void onCoinDeposited(const QJsonObject &record);
    void onReturnLever(const QJsonObject &record);
    void onPayoutTakenUp(const QJsonObject &record);
    void creditToken(int factor, const QJsonObject &action);
    void updateDeviceInfo(QJsonObject record);
    void publishRecord(const QJsonObject &record);

    // paymentmdb_cashlessevents.cpp
    void rememberReaders(const QJsonObject &record);
    void onBeginSession(const QJsonObject &record);
    void onVendApproved(const QJsonObject &record);
    void onVendDenied(const QJsonObject &record);
    void onCancelSession(const QJsonObject &record);
    void onEndSession(const QJsonObject &record);
    void onDisplayRequest(const QJsonObject &record);
    void moveCreditToCard();
    void releaseCash(const char *logText);

    // paymentmdb_sale.cpp
    void paymentWayChecking();
    void withdrawPendingVend(const CashlessReaderInfo &reader);

    // paymentmdb_cashless.cpp
    void cashlessPay();
    void requestVend(int deviceNo);
    void cancelCashlessOrder();
    bool vendPendingAt(const QString &key, const CashlessReaderInfo &reader) const;
    void cancelVendAt(const CashlessReaderInfo &reader);

    // paymentmdb_change.cpp
    void payoutInit();
    void payNotEnough();
    void billEnough();
    void coinEnough();
    void tokenEnough();
    void haveUniversalCoin();
    void analysisCoinTube(QJsonObject *record);
    void returnBill();
    void payOutCoins();

    // paymentmdb_vend.cpp
    void recordAtReaders(int num, int price, int vendCashType);
    void finishDrink();
    void finishCardSale();
    void finishCashSale();
    void chargeCash();
    void failDrink();
    void refundCash();
    void resetSale();

    MdbController m_mdbController{nullptr};
    std::array<SettlementHandler, 16> m_payoutHandlers{};

    // Settings.
    int m_makeModel = Single_Model;
    bool m_allowRevalue = false;
    bool m_isStorageBill = true;
    int m_tubeCoinCountTip = 0;
    QJsonArray m_coinReassignment;
    int m_cardHoldTime = 3000;
    int m_billType = 7;
    int m_storageMaxValue = 0;
    int m_makeFinishTime = 500;

    // Credit.
    int m_universalCoinCount = 0;
    int m_acceptValue = 0;
    int m_tokenValue = 0;
    int m_coinValue = 0;
    /// A bill in escrow.
    int m_billValue = 0;
    /// Part of the price that the last cash sale took from m_coinValue.
    int m_coinPaidValue = 0;
    /// Funds of the presented card, less approved vends.
    int m_cardValue = 0;

    // The sale.
    int m_goodsValue = 0;
    /// -1 once a sale is over.
    int m_goodsNo = 0;
    QJsonObject m_goods;
    /// Goods that wait for m_finishProtect to end.
    QJsonObject m_pendingGoods;
    bool m_goodsSelected = false;
    bool m_haveGoods = false;
    bool m_payEnough = false;
    bool m_allowMake = false;
    /// A drink has just finished; new goods are deferred.
    bool m_finishProtect = false;
    bool m_coinIsPayouting = false;
    bool m_billIsPayouting = false;
    bool m_needRecordToCashless = true;

    // Cashless readers.
    /// A card session is open.
    bool m_cardTouch = false;
    /// The sale was approved by a reader.
    bool m_isCardPay = false;
    /// Device number of the reader that reported the last session event.
    int m_cashlessDeviceNo = -1;
    bool m_cashlessVendPending = false;
    /// Vend success was sent and the reader's display request is awaited.
    bool m_vendSuccessSent = false;
    bool m_waitCardTouch = false;
    /// Cash covered the price while a vend was pending; the reader was told to cancel.
    bool m_waitCashlessRelease = false;
    bool m_sessionEnded = false;
    bool m_firstCancel = true;
    bool m_firstDenied = true;
    bool m_cancelSeen = false;
    /// Since the last publication.
    int m_vendDeniedCount = 0;
    int m_sessionEndCount = 0;
    CashlessReaderInfo m_cashless1;
    CashlessReaderInfo m_cashless2;
    QJsonObject m_cashlessStates;

    QString m_version = QStringLiteral("V2.1.241127");
    QString m_port = QStringLiteral("/dev/ttymxc2");
    QJsonObject m_coinState;
    /// The published record.
    QJsonObject m_deviceObj;
    /// The last record of each device.
    QJsonArray m_deviceList;

    QTimer m_cashlessPayTimer;
    QTimer m_finishProtectTimer;
    QTimer m_sellRetryTimer;
    QTimer m_payEndTimer;
    QTimer m_overTimeTimer;
    QTimer m_payEndTimerS;
};
