#pragma once

#include <QByteArray>
#include <QString>

/// A bus master for the tests of the simulator: each byte goes out on its own, its mode bit as
/// parity.
class TestMaster
{
public:
    /// Opens the port; see isOpen().
    explicit TestMaster(const QString &port);
    ~TestMaster();
    TestMaster(const TestMaster &) = delete;
    TestMaster &operator=(const TestMaster &) = delete;

    bool isOpen() const { return m_port >= 0; }

    /// How long the line must be silent for a reply to be over, in ms. Generous by default: test
    /// machines are slow.
    void setReplyGap(int ms) { m_replyGapMs = ms; }

    /// False if the port does not keep the parity or take the byte.
    bool sendByte(quint8 byte, bool modeBit);
    /// The bytes and their check byte, the first with its mode bit set.
    bool sendBlock(const QByteArray &bytes);
    /// How long a reply may take on a machine that is busy elsewhere, in ms.
    static constexpr int patienceMs = 10000;
    /// How long the line is listened to where silence is expected, in ms.
    static constexpr int silenceMs = 500;
    /// How long to wait for what is expected.
    static int waitFor(const QByteArray &reply) { return reply.isEmpty() ? silenceMs : patienceMs; }
    /// What comes within waitMs, up to the first gap; empty for silence.
    QByteArray readReply(int waitMs = patienceMs);

    /// Sends the block, reads the reply and acknowledges it if it is data with the right check
    /// byte. Answers all bytes of the reply.
    QByteArray exchange(const QByteArray &bytes, int waitMs = patienceMs);
    /// The same without the ACK.
    QByteArray ask(const QByteArray &bytes, int waitMs = patienceMs);
    bool acknowledge() { return sendByte(0x00, false); }

    /// Whether the port has gone, that is, the other side hung up.
    bool hasHungUp() const;

    /// The bytes with their check byte behind them.
    static QByteArray withCheck(const QByteArray &bytes);

private:
    bool setParity(quint8 byte, bool modeBit) const;

    int m_port = -1;
    int m_replyGapMs = 25;
};
