#include "payment/paymentfixture.h"

#include <QtTest>

namespace {

// The list has no reader yet; an explicit instantiation may name the private member.
struct Revealed
{
    friend QJsonArray PaymentMDB::*deviceList(Revealed);
};
template <QJsonArray PaymentMDB::*List>
struct Reveal
{
    friend QJsonArray PaymentMDB::*deviceList(Revealed) { return List; }
};
template struct Reveal<&PaymentMDB::m_deviceList>;

QJsonArray listOf(const PaymentFixture &fixture)
{
    return fixture.item.*deviceList(Revealed{});
}

} // namespace

/// The item's list of the last record of each device.
class TestDeviceList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyAtFirst();
    void oneRecordForEachNumber();
    void wronglySpeltActionIsTakenOut_kept();
    void requestAcknowledgedIsNotListed();
};

void TestDeviceList::emptyAtFirst()
{
    QCOMPARE(listOf(PaymentFixture()), QJsonArray());
}

void TestDeviceList::oneRecordForEachNumber()
{
    PaymentFixture fixture;
    fixture.report(records::validator());
    fixture.report(records::changer());
    const QJsonObject news = records::withAction(records::validator(), 12);
    fixture.report(news);
    QCOMPARE(listOf(fixture).size(), 2);
    QCOMPARE(listOf(fixture).at(0).toObject(), news);
    QCOMPARE(listOf(fixture).at(1).toObject().value("num"), records::changer().value("num"));
}

void TestDeviceList::wronglySpeltActionIsTakenOut_kept()
{
    PaymentFixture fixture;
    QJsonObject record = records::withAction(records::neutral(), 1);
    record.insert("atcion", 1);
    fixture.report(record);
    record.remove("atcion");
    QCOMPARE(listOf(fixture), QJsonArray{record});
}

void TestDeviceList::requestAcknowledgedIsNotListed()
{
    PaymentFixture fixture;
    fixture.readerEvent(2);
    QCOMPARE(listOf(fixture), QJsonArray());
}

QTEST_GUILESS_MAIN(TestDeviceList)
#include "tst_devicelist.moc"
