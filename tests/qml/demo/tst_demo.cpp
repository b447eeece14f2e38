#include <QDir>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

/// Pictures are compared in blocks of 10 x 10 pixels, in which fonts hardly differ.
constexpr QSize blocks(80, 48);
/// Largest difference of a colour channel that counts as equal, and how many blocks may exceed it.
constexpr int channelTolerance = 24;
constexpr double differingShare = 0.02;

constexpr int storyMs = 600000;

struct Run
{
    int exitCode = -1;
    QString transcript;
    QStringList complaints;
};

Run runDemo(const QStringList &arguments)
{
    QProcess demo;
    demo.start(QStringLiteral(KOVIRA_DEMO), QStringList{"--headless"} + arguments);
    if (!demo.waitForFinished(storyMs))
        return {};
    const QString errors = QString::fromUtf8(demo.readAllStandardError());
    Run run;
    run.exitCode = demo.exitStatus() == QProcess::NormalExit ? demo.exitCode() : -1;
    run.transcript = QString::fromUtf8(demo.readAllStandardOutput());
    run.complaints = errors.split('\n').filter(QRegularExpression("^demo: "));
    return run;
}

bool differs(QRgb left, QRgb right)
{
    return qAbs(qRed(left) - qRed(right)) > channelTolerance
        || qAbs(qGreen(left) - qGreen(right)) > channelTolerance
        || qAbs(qBlue(left) - qBlue(right)) > channelTolerance;
}

/// The share of blocks in which two pictures differ; 1 if one of them is missing.
double difference(const QString &leftFile, const QString &rightFile)
{
    const QImage left(leftFile);
    const QImage right(rightFile);
    if (left.isNull() || right.isNull() || left.size() != right.size())
        return 1;
    const QImage leftBlocks = left.scaled(blocks, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const QImage rightBlocks =
        right.scaled(blocks, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    int differing = 0;
    for (int y = 0; y < blocks.height(); ++y) {
        for (int x = 0; x < blocks.width(); ++x)
            differing += differs(leftBlocks.pixel(x, y), rightBlocks.pixel(x, y));
    }
    return double(differing) / (blocks.width() * blocks.height());
}

QString stored(const QString &name)
{
    return QStringLiteral(KOVIRA_DEMO_SCREENSHOTS "/") + name;
}

} // namespace

/// The demo as a user starts it, with its scripted customer.
class TestDemo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everySaleGoesThrough();
    void transcriptTellsOfBusSignalsAndCustomer_data();
    void transcriptTellsOfBusSignalsAndCustomer();
    void picturesLookAsTheyDid_data();
    void picturesLookAsTheyDid();
    void differentStagesAreToldApart_data();
    void differentStagesAreToldApart();
    void runsAtDesktopSize();
    void helpIsShownWithoutADisplay();
    void failureIsOneClearLine_data();
    void failureIsOneClearLine();

private:
    QTemporaryDir m_pictures;
    Run m_run;
};

void TestDemo::initTestCase()
{
    QVERIFY(m_pictures.isValid());
    m_run = runDemo({"--size", "800x480", "--screenshots", m_pictures.path()});
}

void TestDemo::everySaleGoesThrough()
{
    QVERIFY2(m_run.exitCode == 0, qPrintable(m_run.complaints.join('\n')));
    QCOMPARE(m_run.complaints, QStringList());
    QVERIFY(m_run.transcript.contains("done       everything went as it should"));
}

void TestDemo::transcriptTellsOfBusSignalsAndCustomer_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("frame in words")
        << R"(^bus +[\d.]+ coin changer  POLL -> coin deposited: type 4)";
    QTest::newRow("payout on the bus") << R"(^bus +[\d.]+ coin changer  PAYOUT 28 units)";
    QTest::newRow("signal with its argument") << R"(^signal +allowMakeChanged\(true\)$)";
    QTest::newRow("published credit") << R"(^signal +deviceInfoChanged\(.*"acceptValue":300)";
    QTest::newRow("coin that falls")
        << R"(^machine +\{.*"event":"coinPaid","type":4,"value":100\})";
    QTest::newRow("what the customer does") << R"(^customer +inserts 2\.00$)";
    QTest::newRow("what was checked") << R"(^ok +the changer's books say: 3\.00 in, 1\.40 out$)";
}

void TestDemo::transcriptTellsOfBusSignalsAndCustomer()
{
    QFETCH(QString, line);
    const QRegularExpression wanted(line, QRegularExpression::MultilineOption);
    QVERIFY(m_run.transcript.contains(wanted));
}

void TestDemo::picturesLookAsTheyDid_data()
{
    QTest::addColumn<QString>("name");
    const QStringList names = QDir(stored({})).entryList({"*.png"});
    QVERIFY(!names.isEmpty());
    for (const QString &name : names)
        QTest::newRow(qPrintable(name)) << name;
}

void TestDemo::picturesLookAsTheyDid()
{
    QFETCH(QString, name);
    const double share = difference(stored(name), m_pictures.filePath(name));
    QVERIFY2(share <= differingShare, qPrintable(QString::number(share)));
}

void TestDemo::differentStagesAreToldApart_data()
{
    QTest::addColumn<QString>("other");
    QTest::newRow("another stage") << "pay.png";
    QTest::newRow("another drink") << "no-change.png";
    QTest::newRow("missing") << "nothing.png";
}

void TestDemo::differentStagesAreToldApart()
{
    QFETCH(QString, other);
    QVERIFY(difference(stored("coin-farewell.png"), m_pictures.filePath(other)) > differingShare);
}

void TestDemo::runsAtDesktopSize()
{
    const QTemporaryDir pictures;
    const Run run = runDemo({"--size", "1280x720", "--story", "coin", "--language", "de",
                             "--screenshots", pictures.path()});
    QVERIFY2(run.exitCode == 0, qPrintable(run.complaints.join('\n')));
    QCOMPARE(QImage(pictures.filePath("coin-farewell.png")).size(), QSize(1280, 720));
}

void TestDemo::helpIsShownWithoutADisplay()
{
    const Run run = runDemo({"--help"});
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.transcript.contains("--story <name>"));
}

void TestDemo::failureIsOneClearLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("complaint");
    const QString emptyTube = R"({"coin": {"coinTypes": [{"credit": 1}, {"credit": 2},
        {"credit": 4}, {"credit": 10}, {"credit": 20, "toTube": true, "capacity": 9},
        {"credit": 40}]}, "bill": {}, "cashless1": {}, "cashless2": {}})";
    QTest::newRow("change does not fall")
        << QStringList{"--story", "coin", "--machine", emptyTube, "--patience", "15"}
        << "coin: not within 15 s: change of 1.40 falls, coin by coin";
    QTest::newRow("no coin changer")
        << QStringList{"--story", "coin", "--machine", R"({"bill": {}})", "--patience", "4"}
        << "ready: not within 4 s: coins, notes and cards are accepted";
    QTest::newRow("unknown story")
        << QStringList{"--story", "fairy"} << "there is no story \"fairy\", but coin, bill, token";
    QTest::newRow("size of one number")
        << QStringList{"--size", "800"} << "--size must be like 800x480";
    QTest::newRow("unknown language")
        << QStringList{"--language", "xx"} << "--language must be en or de";
    QTest::newRow("no patience") << QStringList{"--patience", "soon"}
                                 << "--patience must be a number of seconds";
    QTest::newRow("broken machine")
        << QStringList{"--machine", "{\"coin\""} << "--machine must be a JSON object";
}

void TestDemo::failureIsOneClearLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, complaint);
    const Run run = runDemo(arguments);
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.complaints.size(), 1);
    QVERIFY2(run.complaints.first().startsWith("demo: " + complaint),
             qPrintable(run.complaints.first()));
}

QTEST_GUILESS_MAIN(TestDemo)

#include "tst_demo.moc"
