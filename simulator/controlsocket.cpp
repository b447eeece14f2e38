#include "controlsocket.h"

#include "control.h"

#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>

#include <sys/stat.h>

namespace mdbsim {

namespace {

constexpr int connectTimeoutMs = 1000;

/// Whether a path is free for a socket, after the removal of one that nobody listens to.
bool makeRoom(const QString &path, QString *error)
{
    struct stat status = {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return true;
    if (!S_ISSOCK(status.st_mode)) {
        *error = QStringLiteral("%1 exists and is no socket").arg(path);
        return false;
    }
    QLocalSocket probe;
    probe.connectToServer(path);
    const bool answered = probe.waitForConnected(connectTimeoutMs);
    if (!answered && probe.error() == QLocalSocket::ConnectionRefusedError && QFile::remove(path))
        return true;
    *error = QStringLiteral("%1 is in use").arg(path);
    return false;
}

void sendLine(QLocalSocket *client, const QByteArray &line)
{
    if (client->state() != QLocalSocket::ConnectedState)
        return;
    client->write(line + '\n');
    client->flush();
    if (client->bytesToWrite() > ControlSocket::maxUnreadBytes)
        client->abort();
}

} // namespace

ControlSocket::ControlSocket(Machine *machine, QObject *parent)
    : QObject(parent), m_machine(machine)
{
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &ControlSocket::welcome);
}

bool ControlSocket::listen(const QString &path, QString *error)
{
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (!makeRoom(absolute, error))
        return false;
    if (m_server.listen(absolute))
        return true;
    const QString reason = m_server.errorString().section(QStringLiteral(": "), 1);
    *error = QStringLiteral("cannot make the socket %1: %2").arg(path, reason);
    return false;
}

void ControlSocket::welcome()
{
    while (QLocalSocket *client = m_server.nextPendingConnection()) {
        connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
        if (m_clients < maxClients) {
            serve(client);
        } else {
            sendLine(client, R"({"error":"too many clients","ok":false})");
            client->disconnectFromServer();
        }
    }
}

void ControlSocket::serve(QLocalSocket *client)
{
    ++m_clients;
    client->setReadBufferSize(LineSplitter::maxBytes);
    auto *control = new Control(
        m_machine, [client](const QByteArray &line) { sendLine(client, line); }, client);
    connect(client, &QLocalSocket::disconnected, this, [this] { --m_clients; });
    connect(client, &QLocalSocket::readyRead, control,
            [client, control] { control->receive(client->readAll()); });
}

} // namespace mdbsim
