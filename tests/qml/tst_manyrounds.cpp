#include "machine.h"
#include "salebench.h"
#include "support/processfacts.h"

#include <QLoggingCategory>
#include <QQmlComponent>
#include <QTemporaryFile>

#include <unistd.h>

#include <random>

using processfacts::busThreads;
using processfacts::openDescriptors;

/// Opening, changing and closing the bus again and again, and destroying the item whatever the bus
/// is doing: the process stays what it was.
class TestManyRounds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void thousandRoundsLeaveNothing();
    void itemDestroyedAtAnyMoment();
};

namespace {

const char *const uses[] = {"useCoin", "useBill", "useCashless1", "useCashless2"};

/// A machine with every device, and nobody who remembers what it says.
class QuietMachine
{
public:
    QuietMachine()
    {
        QString error;
        if (!m_machine.start(mdbsim::Machine::defaultConfig(), &error))
            qFatal("%s", qPrintable(error));
    }
    QString port() const { return m_machine.port(); }

private:
    mdbsim::Machine m_machine;
};

class Kiosk
{
public:
    Kiosk() : m_component(&m_engine)
    {
        m_component.setData("import Kovira 1.0\nPaymentMDB {}", QUrl());
    }

    void createItem() { m_item.reset(m_component.create()); }
    void destroyItem() { m_item.reset(); }
    int install(const QString &port)
    {
        int result = 0;
        QMetaObject::invokeMethod(m_item.get(), "install", Q_RETURN_ARG(int, result),
                                  Q_ARG(QString, port));
        return result;
    }
    void setting(const QJsonObject &settings)
    {
        QMetaObject::invokeMethod(m_item.get(), "setting", Q_ARG(QJsonObject, settings));
    }
    void close() { QMetaObject::invokeMethod(m_item.get(), "closeMDB"); }

private:
    QQmlEngine m_engine;
    QQmlComponent m_component;
    std::unique_ptr<QObject> m_item;
};

QJsonObject randomSettings(std::mt19937 &random)
{
    QJsonObject settings = {{"makeModel", int(random() % 2)},
                            {"billType", int(random() % 8)},
                            {"storageMaxValue", int(random() % 5000)}};
    for (const char *use : uses)
        settings.insert(use, random() % 4 > 0);
    return settings;
}

struct Possessions
{
    int descriptors;
    int threads;
    qint64 heap;
};

/// What the process has when an item has come, lived through so many rounds and gone.
Possessions afterRounds(int rounds, Kiosk &kiosk, const QString &port)
{
    std::mt19937 random(20);
    kiosk.createItem();
    for (int i = 0; i < rounds; ++i) {
        const auto kind = random() % 3;
        if (kind == 0 && kiosk.install(port) <= 0)
            QTest::qFail("the port cannot be opened", __FILE__, __LINE__);
        if (kind == 1)
            kiosk.setting(randomSettings(random));
        if (kind == 2)
            kiosk.close();
        if (random() % 4 == 0)
            QTest::qWait(int(random() % 20));
        QCoreApplication::processEvents();
    }
    kiosk.destroyItem();
    QCoreApplication::processEvents();
    return {openDescriptors(), processfacts::threads(), processfacts::heapBytes()};
}

} // namespace

void TestManyRounds::initTestCase()
{
    QLoggingCategory::setFilterRules("kovira.*.debug=false");
}

void TestManyRounds::thousandRoundsLeaveNothing()
{
    constexpr int rounds = 1000;
    QuietMachine machine;
    Kiosk kiosk;
    const Possessions before = afterRounds(rounds / 5, kiosk, machine.port());
    const Possessions after = afterRounds(rounds, kiosk, machine.port());
    qInfo("heap: %lld bytes before, %lld after", before.heap, after.heap);
    QCOMPARE(after.descriptors, before.descriptors);
    QCOMPARE(after.threads, before.threads);
    // Less than any object would be that each round leaves behind.
    QVERIFY(after.heap - before.heap < 8 * rounds);
}

void TestManyRounds::itemDestroyedAtAnyMoment()
{
    QuietMachine machine;
    Kiosk kiosk;
    const int before = openDescriptors();
    std::mt19937 random(21);
    for (int round = 0; round < 150; ++round) {
        kiosk.createItem();
        QVERIFY(kiosk.install(machine.port()) > 0);
        QCOMPARE(openDescriptors(), before + 1);
        // Up to a whole cycle, now and then with what it reported on its way to the item.
        usleep(unsigned(random() % 60000));
        if (random() % 2)
            QCoreApplication::processEvents();
        kiosk.destroyItem();
        QCOMPARE(busThreads(), 0);
        QCOMPARE(openDescriptors(), before);

        // The port's number goes to somebody else, who must not find bytes of the bus.
        QTemporaryFile stranger;
        QVERIFY(stranger.open());
        QCoreApplication::processEvents();
        QCOMPARE(stranger.size(), qint64(0));
    }
}

QTEST_MAIN(TestManyRounds)
#include "tst_manyrounds.moc"
