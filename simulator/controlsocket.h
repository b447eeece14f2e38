#pragma once

#include <QLocalServer>

class QLocalSocket;

namespace mdbsim {

class Machine;

/// A local socket, private to its user, by which other programs drive a machine; each client has
/// a Control of its own.
class ControlSocket : public QObject
{
    Q_OBJECT

public:
    /// A client that leaves this much unread is dropped.
    static constexpr int maxUnreadBytes = 1024 * 1024;
    /// Further clients are told so and dropped.
    static constexpr int maxClients = 32;

    /// The machine must outlive the socket.
    explicit ControlSocket(Machine *machine, QObject *parent = nullptr);

    /// A socket that an earlier run left behind is replaced, nothing else; *error is one line.
    /// The file is removed with this object.
    bool listen(const QString &path, QString *error);
    /// Those that are connected now.
    int clients() const { return m_clients; }

private:
    void welcome();
    void serve(QLocalSocket *client);

    Machine *m_machine;
    int m_clients = 0;
    QLocalServer m_server;
};

} // namespace mdbsim
