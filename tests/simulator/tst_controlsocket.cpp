#include <QtTest>

#include "controlsocket.h"
#include "machine.h"
#include "support/testmaster.h"

#include <QLocalSocket>
#include <QTemporaryDir>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace mdbsim;

namespace {

const QByteArray press = "{\"device\": \"coin\", \"action\": \"pressLever\"}\n";
const QByteArray insert = "{\"device\": \"coin\", \"action\": \"insertCoin\", \"type\": 0}\n";
const QByteArray ok = "{\"ok\":true}\n";
const QByteArray rejected =
    "{\"device\":\"coin\",\"event\":\"coinRejected\",\"type\":0,\"value\":5}\n";

/// A plain socket at a path; -1 if it cannot be made.
int bindSocket(const QString &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, path.toLocal8Bit().constData(), sizeof address.sun_path);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto *place = reinterpret_cast<sockaddr *>(&address);
    return ::bind(descriptor, place, sizeof address) == 0 ? descriptor : -1;
}

class Client : public QLocalSocket
{
public:
    explicit Client(const QString &path)
    {
        connectToServer(path);
        waitForConnected();
    }
    QByteArray nextLine()
    {
        [&] { QTRY_VERIFY(canReadLine()); }();
        return readLine();
    }
};

} // namespace

class TestControlSocket : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void isPrivateToItsUser();
    void answersGoToTheirClient();
    void eventsGoToEveryClient();
    void traceGoesToItsSubscriber();
    void rubbishDisturbsNobody_data();
    void rubbishDisturbsNobody();
    void clientThatDoesNotReadIsDropped();
    void clientsAreLimited();
    void leftSocketIsReplaced();
    void foreignFileIsRefused_data();
    void foreignFileIsRefused();
    void usedSocketIsRefused();
    void overloadedSocketIsRefused();
    void impossiblePathIsRefused_data();
    void impossiblePathIsRefused();
    void fileIsRemovedAtTheEnd();

private:
    QScopedPointer<QTemporaryDir> m_folder;
    QScopedPointer<Machine> m_machine;
    QScopedPointer<ControlSocket> m_socket;
    QString m_path;
    QString m_error;
};

void TestControlSocket::init()
{
    m_folder.reset(new QTemporaryDir);
    m_machine.reset(new Machine);
    QVERIFY(m_machine->start({{"coin", QJsonObject()}}, nullptr));
    m_socket.reset(new ControlSocket(m_machine.data()));
    m_path = m_folder->filePath("control");
    m_error.clear();
}

void TestControlSocket::cleanup()
{
    m_socket.reset();
    m_machine.reset();
}

void TestControlSocket::isPrivateToItsUser()
{
    QVERIFY2(m_socket->listen(m_path, &m_error), qPrintable(m_error));
    struct stat status = {};
    QCOMPARE(::lstat(m_path.toLocal8Bit(), &status), 0);
    QVERIFY(S_ISSOCK(status.st_mode));
    QCOMPARE(status.st_mode & 0777, 0700U);
}

void TestControlSocket::answersGoToTheirClient()
{
    QVERIFY(m_socket->listen(m_path, &m_error));
    Client first(m_path);
    Client second(m_path);
    first.write(press);
    QCOMPARE(first.nextLine(), ok);
    second.write(R"({"id": 2, "device": "coin", "action": "jam"})" + press.right(1));
    QCOMPARE(second.nextLine(), QByteArray("{\"id\":2,\"ok\":true}\n"));
    QVERIFY(!first.canReadLine());
}

void TestControlSocket::eventsGoToEveryClient()
{
    QVERIFY(m_socket->listen(m_path, &m_error));
    Client first(m_path);
    Client second(m_path);
    QTRY_COMPARE(m_socket->clients(), 2);
    first.write(insert);
    QCOMPARE(first.nextLine(), QByteArray("{\"accepted\":false,\"ok\":true}\n"));
    QCOMPARE(first.nextLine(), rejected);
    QCOMPARE(second.nextLine(), rejected);
}

void TestControlSocket::traceGoesToItsSubscriber()
{
    QVERIFY(m_socket->listen(m_path, &m_error));
    Client subscriber(m_path);
    Client other(m_path);
    subscriber.write("{\"action\": \"subscribe\", \"trace\": true}\n");
    QVERIFY(subscriber.nextLine().contains("\"trace\":true"));
    TestMaster(m_machine->port()).exchange(QByteArray::fromHex("0B"));
    QVERIFY(subscriber.nextLine().contains("coin changer  POLL -> was reset"));
    other.write(press);
    QCOMPARE(other.nextLine(), ok);
}

void TestControlSocket::rubbishDisturbsNobody_data()
{
    QTest::addColumn<QByteArray>("rubbish");
    QTest::newRow("binary") << QByteArray("\x00\xff\x01\x80\n", 5);
    QTest::newRow("deep") << QByteArray(50000, '[') + '\n';
    QTest::newRow("endless line") << QByteArray(100 * 1024, 'x');
    QTest::newRow("half a line that ends") << press.left(10) + '\n';
}

void TestControlSocket::rubbishDisturbsNobody()
{
    QFETCH(QByteArray, rubbish);
    QVERIFY(m_socket->listen(m_path, &m_error));
    Client client(m_path);
    client.write(rubbish);
    QVERIFY(client.nextLine().contains("\"ok\":false"));
    if (!rubbish.endsWith('\n'))
        client.write("\n");
    client.write(press);
    QCOMPARE(client.nextLine(), ok);
}

void TestControlSocket::clientThatDoesNotReadIsDropped()
{
    QVERIFY(m_socket->listen(m_path, &m_error));
    Client reader(m_path);
    QTRY_COMPARE(m_socket->clients(), 1);
    Client lazy(m_path);
    lazy.setReadBufferSize(1);
    QSignalSpy dropped(&lazy, &QLocalSocket::disconnected);
    const QByteArray help = "{\"action\": \"help\"}\n";
    for (int round = 0; round < 1000 && dropped.isEmpty(); ++round) {
        lazy.write(help.repeated(10));
        QCoreApplication::processEvents();
    }
    QTRY_COMPARE(m_socket->clients(), 1);
    reader.write(press);
    QCOMPARE(reader.nextLine(), ok);
}

void TestControlSocket::clientsAreLimited()
{
    QVERIFY(m_socket->listen(m_path, &m_error));
    std::vector<std::unique_ptr<Client>> clients;
    for (int count = 0; count < ControlSocket::maxClients; ++count) {
        clients.push_back(std::make_unique<Client>(m_path));
        QTRY_COMPARE(m_socket->clients(), count + 1);
    }
    Client oneTooMany(m_path);
    QCOMPARE(oneTooMany.nextLine(), QByteArray("{\"error\":\"too many clients\",\"ok\":false}\n"));
    QTRY_COMPARE(oneTooMany.state(), QLocalSocket::UnconnectedState);
    clients.pop_back();
    QTRY_COMPARE(m_socket->clients(), ControlSocket::maxClients - 1);
    Client next(m_path);
    next.write(press);
    QCOMPARE(next.nextLine(), ok);
}

void TestControlSocket::leftSocketIsReplaced()
{
    const int descriptor = bindSocket(m_path);
    QVERIFY(descriptor >= 0);
    ::close(descriptor);
    QVERIFY2(m_socket->listen(m_path, &m_error), qPrintable(m_error));
    Client client(m_path);
    client.write(press);
    QCOMPARE(client.nextLine(), ok);
}

void TestControlSocket::foreignFileIsRefused_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("file") << "file";
    QTest::newRow("folder") << "folder";
    QTest::newRow("link") << "link";
}

void TestControlSocket::foreignFileIsRefused()
{
    QFETCH(QString, kind);
    QFile file(m_path);
    if (kind == "file")
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("mine") == 4);
    else if (kind == "folder")
        QVERIFY(QDir().mkdir(m_path));
    else
        QVERIFY(QFile::link("/nowhere", m_path));
    file.close();
    QVERIFY(!m_socket->listen(m_path, &m_error));
    QCOMPARE(m_error, m_path + " exists and is no socket");
    m_socket.reset();
    const QFileInfo info(m_path);
    QVERIFY(info.isSymLink() || info.isDir() || info.size() == 4);
}

void TestControlSocket::usedSocketIsRefused()
{
    QVERIFY(m_socket->listen(m_path, &m_error));
    ControlSocket second(m_machine.data());
    QVERIFY(!second.listen(m_path, &m_error));
    QCOMPARE(m_error, m_path + " is in use");
    Client client(m_path);
    client.write(press);
    QCOMPARE(client.nextLine(), ok);
}

/// A server that is too busy to take a client is alive all the same.
void TestControlSocket::overloadedSocketIsRefused()
{
    const int descriptor = bindSocket(m_path);
    QCOMPARE(::listen(descriptor, 0), 0);
    const Client inTheQueue(m_path);
    QVERIFY(!m_socket->listen(m_path, &m_error));
    QCOMPARE(m_error, m_path + " is in use");
    QVERIFY(QFileInfo::exists(m_path));
    ::close(descriptor);
}

void TestControlSocket::impossiblePathIsRefused_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("no such folder") << "/no/such/folder/control";
    QTest::newRow("too long") << "/tmp/" + QString(200, 'x');
}

void TestControlSocket::impossiblePathIsRefused()
{
    QFETCH(QString, path);
    QVERIFY(!m_socket->listen(path, &m_error));
    QVERIFY2(m_error.startsWith("cannot make the socket " + path + ": "), qPrintable(m_error));
    QVERIFY2(!m_error.endsWith(": "), qPrintable(m_error));
    QVERIFY(!m_error.contains('\n'));
}

void TestControlSocket::fileIsRemovedAtTheEnd()
{
    QVERIFY(m_socket->listen(m_path, &m_error));
    Client client(m_path);
    QTRY_COMPARE(m_socket->clients(), 1);
    m_socket.reset();
    QVERIFY(!QFileInfo::exists(m_path));
    QTRY_COMPARE(client.state(), QLocalSocket::UnconnectedState);
}

QTEST_GUILESS_MAIN(TestControlSocket)
#include "tst_controlsocket.moc"
