#include <QtTest>

#include "histogram.h"

using namespace mdbsim;

class TestHistogram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyHasNoTimes();
    void percentileIsATimeThatWasAdded_data();
    void percentileIsATimeThatWasAdded();
    void percentilesDivideTheTimes();
    void binsAreNarrow();
    void limitsBelongToTheGoodTimes_data();
    void limitsBelongToTheGoodTimes();
};

void TestHistogram::emptyHasNoTimes()
{
    const Histogram histogram(0, 5000);
    QCOMPARE(histogram.count(), 0);
    QCOMPARE(histogram.percentile(0.5), 0);
    QCOMPARE(histogram.minimum(), 0);
    QCOMPARE(histogram.maximum(), 0);
    QCOMPARE(histogram.goodShare(), 1.0);
}

void TestHistogram::percentileIsATimeThatWasAdded_data()
{
    QTest::addColumn<qint64>("timeUs");
    QTest::addColumn<qint64>("expected");
    QTest::newRow("nothing") << qint64(0) << qint64(0);
    QTest::newRow("negative") << qint64(-7) << qint64(0);
    QTest::newRow("own bin") << qint64(255) << qint64(255);
    QTest::newRow("shared bin") << qint64(3101) << qint64(3101);
    QTest::newRow("half an hour") << qint64(1800000000) << qint64(1800000000);
    QTest::newRow("a day") << qint64(86400000000) << qint64(86400000000);
}

void TestHistogram::percentileIsATimeThatWasAdded()
{
    QFETCH(qint64, timeUs);
    QFETCH(qint64, expected);
    Histogram histogram(0, 5000);
    histogram.add(timeUs);
    QCOMPARE(histogram.count(), 1);
    QCOMPARE(histogram.minimum(), expected);
    QCOMPARE(histogram.maximum(), expected);
    // The last bin is open at its end, so a day is not found by it.
    if (timeUs < 2000000000)
        QCOMPARE(histogram.percentile(0.5), expected);
}

void TestHistogram::percentilesDivideTheTimes()
{
    Histogram histogram(0, 5000);
    for (int timeUs = 200; timeUs >= 1; --timeUs)
        histogram.add(timeUs);
    QCOMPARE(histogram.percentile(0.0), 1);
    QCOMPARE(histogram.percentile(0.5), 100);
    QCOMPARE(histogram.percentile(0.99), 198);
    QCOMPARE(histogram.percentile(1.0), 200);
    QCOMPARE(histogram.minimum(), 1);
}

void TestHistogram::binsAreNarrow()
{
    for (const qint64 timeUs : {256, 511, 512, 3333, 4999, 5001, 99999, 1234567, 1000000000}) {
        Histogram histogram(0, 5000);
        histogram.add(timeUs);
        histogram.add(2000000000);
        const qint64 median = histogram.percentile(0.5);
        QVERIFY2(median >= timeUs, qPrintable(QString::number(timeUs)));
        QVERIFY2(median <= timeUs + timeUs / 128, qPrintable(QString::number(timeUs)));
    }
}

void TestHistogram::limitsBelongToTheGoodTimes_data()
{
    QTest::addColumn<qint64>("timeUs");
    QTest::addColumn<double>("goodShare");
    QTest::newRow("below") << qint64(24999) << 0.0;
    QTest::newRow("lowest") << qint64(25000) << 1.0;
    QTest::newRow("highest") << qint64(200000) << 1.0;
    QTest::newRow("above") << qint64(200001) << 0.0;
}

void TestHistogram::limitsBelongToTheGoodTimes()
{
    QFETCH(qint64, timeUs);
    QFETCH(double, goodShare);
    Histogram histogram(25000, 200000);
    histogram.add(timeUs);
    QCOMPARE(histogram.goodShare(), goodShare);
    histogram.add(100000);
    QCOMPARE(histogram.goodShare(), (goodShare + 1.0) / 2.0);
}

QTEST_APPLESS_MAIN(TestHistogram)
#include "tst_histogram.moc"
