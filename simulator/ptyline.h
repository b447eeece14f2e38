#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

#include <termios.h>

namespace mdbsim {

/// One byte from the master.
struct LineByte
{
    /// The eight data bits.
    quint8 value = 0;
    /// The ninth bit; set in the first byte of a block.
    bool modeBit = false;
    /// False if the master may already have changed the parity for its next byte.
    bool modeSure = true;
    /// Monotonic time at which the byte was read, in microseconds. A pseudo-terminal hands a byte
    /// over when its sender begins it; a real line would hold it for another byteTimeUs.
    qint64 timeUs = 0;
};

/// 11 bits at 9600 baud.
constexpr qint64 byteTimeUs = 1146;

/// Monotonic time in microseconds, the clock of LineByte::timeUs.
qint64 monotonicUs();
/// Returns at once if that time is over.
void sleepUntilUs(qint64 timeUs);

/// The mode bit that a byte carries when it is sent with these c_cflag bits.
bool modeBitOf(quint8 byte, tcflag_t flags);

/// The peripherals' end of a serial line: the master side of a pseudo-terminal, whose other side
/// the bus master opens as its serial port. Not thread-safe.
class PtyLine
{
public:
    /// How a transmission is spread over time.
    enum class Pace {
        /// In one piece.
        Whole,
        /// Byte by byte as on a real line, 1.146 ms each.
        Paced,
        /// Two halves with a pause that a receiver takes for the end.
        Gap
    };

    /// linkPath: where a symbolic link to the port is kept; empty for none.
    explicit PtyLine(const QString &linkPath = {});
    ~PtyLine();
    PtyLine(const PtyLine &) = delete;
    PtyLine &operator=(const PtyLine &) = delete;

    /// False with one line about it if there is no terminal or no room for the link.
    bool open(QString *error);
    /// The port and its link vanish.
    void close();
    /// The port vanishes under the master and a new one appears behind the same link.
    bool hangUp(QString *error);

    /// What the bus master opens: the link if there is one, otherwise the pseudo-terminal.
    QString port() const { return m_linkPath.isEmpty() ? m_slavePath : m_linkPath; }

    /// The next byte from the master, or nothing within timeoutMs.
    std::optional<LineByte> readByte(int timeoutMs);
    /// Bytes that the master does not fetch in time are lost.
    void write(const QByteArray &bytes, Pace pace = Pace::Whole);

private:
    bool openTerminal(QString *error);
    bool placeLink(QString *error) const;
    void removeLink() const;
    void writePiece(const QByteArray &bytes) const;

    QString m_linkPath;
    QString m_slavePath;
    int m_master = -1;
    /// Held open so that the line outlives the programs that open and close it.
    int m_slave = -1;
};

} // namespace mdbsim
