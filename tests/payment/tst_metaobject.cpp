#include "paymentmdb.h"

#include <QtTest>

/// What QML and QMetaObject users see of the item: names, types and order.
class TestMetaObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void classNames();
    void memberCounts();
    void method_data();
    void method();
    void property_data();
    void property();
    void enumeration_data();
    void enumeration();
    void enumerationValue_data();
    void enumerationValue();
};

namespace {

const QMetaObject &meta = PaymentMDB::staticMetaObject;

} // namespace

void TestMetaObject::classNames()
{
    QCOMPARE(meta.className(), "PaymentMDB");
    QCOMPARE(meta.superClass(), &QQuickItem::staticMetaObject);
    PaymentMDB item;
    QCOMPARE(item.qt_metacast("PaymentMDB"), static_cast<void *>(&item));
}

void TestMetaObject::memberCounts()
{
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 20);
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 2);
    QCOMPARE(meta.enumeratorCount() - meta.enumeratorOffset(), 4);
    QCOMPARE(meta.constructorCount(), 0);
    QCOMPARE(meta.classInfoCount() - meta.classInfoOffset(), 0);
}

void TestMetaObject::method_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("access");
    QTest::addColumn<QString>("returnType");
    QTest::addColumn<QString>("parameters");

    const auto row = [](const char *name, int index, QMetaMethod::MethodType kind,
                        QMetaMethod::Access access, const char *type, const char *parameters) {
        QTest::newRow(name) << index << int(kind) << int(access) << QString(type)
                            << QString(parameters);
    };
    int index = 0;
    const auto signal = [&](const char *name, const char *parameters) {
        row(name, index++, QMetaMethod::Signal, QMetaMethod::Public, "void", parameters);
    };
    const auto invokable = [&](const char *name, const char *type, const char *parameters) {
        row(name, index++, QMetaMethod::Method, QMetaMethod::Public, type, parameters);
    };
    signal("deviceInfoChanged", "QJsonObject deviceObj");
    signal("deviceNeedWait", "bool state");
    signal("allowMakeChanged", "bool allowMake");
    signal("cardTouched", "bool touch");
    signal("orderCancel", "");
    signal("haveGoodsChanged", "");
    row("getDeviceInfo", index++, QMetaMethod::Slot, QMetaMethod::Private, "void",
        "QJsonObject deviceInfo");
    invokable("install", "int", "QString port");
    invokable("closeMDB", "void", "");
    invokable("setting", "void", "QJsonObject obj");
    invokable("setSellGoods", "bool", "QJsonObject obj");
    invokable("makingFinish", "bool", "QJsonObject obj");
    invokable("cancelGoods", "bool", "");
    invokable("settleAccounts", "void", "");
    invokable("updateTubeState", "void", "");
    invokable("sendDiagnostic", "void", "int warnLsb, int warnHsb, int errorLsb, int errorHsb");
    invokable("vendPrice", "void", "int price");
    invokable("escrowStack", "void", "");
    invokable("escrowReturn", "void", "");
    invokable("billTestCmd", "void", "int cmd");
}

void TestMetaObject::method()
{
    QFETCH(int, index);
    QFETCH(int, kind);
    QFETCH(int, access);
    QFETCH(QString, returnType);
    QFETCH(QString, parameters);

    const QMetaMethod method = meta.method(meta.methodOffset() + index);
    QCOMPARE(method.name(), QByteArray(QTest::currentDataTag()));
    QCOMPARE(int(method.methodType()), kind);
    QCOMPARE(int(method.access()), access);
    QCOMPARE(QString(method.typeName()), returnType);
    QStringList actual;
    for (int i = 0; i < method.parameterCount(); ++i)
        actual.append(method.parameterTypes().at(i) + ' ' + method.parameterNames().at(i));
    QCOMPARE(actual.join(", "), parameters);
}

void TestMetaObject::property_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("notify");
    QTest::addColumn<QVariant>("atFirst");

    QTest::newRow("version") << 0 << "QString" << QString() << QVariant("V2.1.241127");
    QTest::newRow("haveGoods") << 1 << "bool"
                               << "haveGoodsChanged()" << QVariant(false);
}

void TestMetaObject::property()
{
    QFETCH(int, index);
    QFETCH(QString, type);
    QFETCH(QString, notify);
    QFETCH(QVariant, atFirst);

    const QMetaProperty property = meta.property(meta.propertyOffset() + index);
    QCOMPARE(property.name(), QTest::currentDataTag());
    QCOMPARE(QString(property.typeName()), type);
    QVERIFY(property.isReadable());
    QVERIFY(!property.isWritable());
    QVERIFY(!property.isResettable());
    QVERIFY(!property.isConstant());
    QVERIFY(!property.isFinal());
    QVERIFY(!property.isUser());
    QCOMPARE(property.hasNotifySignal(), !notify.isEmpty());
    QCOMPARE(QString(property.notifySignal().methodSignature()), notify);
    PaymentMDB item;
    QCOMPARE(property.read(&item), atFirst);
}

void TestMetaObject::enumeration_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("values");

    QTest::newRow("MAKE_MODEL") << 0 << 2;
    QTest::newRow("DRINK_STATUS") << 1 << 4;
    QTest::newRow("DEVICE_TYPE") << 2 << 3;
    QTest::newRow("CASH_VEND_TYPE") << 3 << 5;
}

void TestMetaObject::enumeration()
{
    QFETCH(int, index);
    QFETCH(int, values);

    const QMetaEnum enumeration = meta.enumerator(meta.enumeratorOffset() + index);
    QCOMPARE(enumeration.name(), QTest::currentDataTag());
    QCOMPARE(enumeration.scope(), "PaymentMDB");
    QCOMPARE(enumeration.keyCount(), values);
    QVERIFY(!enumeration.isFlag());
    QVERIFY(!enumeration.isScoped());
}

void TestMetaObject::enumerationValue_data()
{
    QTest::addColumn<QString>("enumeration");
    QTest::addColumn<int>("value");

    QTest::newRow("Single_Model") << "MAKE_MODEL" << 0;
    QTest::newRow("More") << "MAKE_MODEL" << 1;
    QTest::newRow("Drink_Ready") << "DRINK_STATUS" << 0;
    QTest::newRow("Drink_Making") << "DRINK_STATUS" << 1;
    QTest::newRow("Drink_Success") << "DRINK_STATUS" << 2;
    QTest::newRow("Drink_Fail") << "DRINK_STATUS" << 3;
    QTest::newRow("Cashless") << "DEVICE_TYPE" << 0;
    QTest::newRow("Bill") << "DEVICE_TYPE" << 1;
    QTest::newRow("Coin") << "DEVICE_TYPE" << 2;
    QTest::newRow("COMMON_VEND_TYPE") << "CASH_VEND_TYPE" << 0;
    QTest::newRow("FREE_VEND_TYPE") << "CASH_VEND_TYPE" << 1;
    QTest::newRow("TEST_VEND_TYPE") << "CASH_VEND_TYPE" << 2;
    QTest::newRow("NEGATIVE_VEND_TYPE") << "CASH_VEND_TYPE" << 3;
    QTest::newRow("TOKEN_VEND_TYPE") << "CASH_VEND_TYPE" << 4;
}

void TestMetaObject::enumerationValue()
{
    QFETCH(QString, enumeration);
    QFETCH(int, value);

    const int index = meta.indexOfEnumerator(enumeration.toLatin1().constData());
    QVERIFY(index >= 0);
    bool known = false;
    QCOMPARE(meta.enumerator(index).keyToValue(QTest::currentDataTag(), &known), value);
    QVERIFY(known);
}

QTEST_GUILESS_MAIN(TestMetaObject)
#include "tst_metaobject.moc"
