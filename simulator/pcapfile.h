#pragma once

#include <QFile>

namespace mdbsim {

/// Bytes of one sender as they went over the line.
struct Transmission
{
    /// Which end of the line.
    enum class Sender { Master, Peripheral };

    /// A packet's direction in the capture.
    Sender sender = Sender::Master;
    /// Of the peripheral; nothing if the master sends.
    quint8 address = 0;
    /// Check byte included.
    QByteArray bytes;
    /// Monotonic microseconds: when the master's last byte or the reply's first went out.
    qint64 timeUs = 0;
};

/// A capture file for Wireshark and its like: classic pcap with the link type of MDB, 300. A
/// terminal shows no break condition, so a bus reset is never in it.
class PcapFile
{
public:
    /// Replaces the file. False with one line about it if it cannot be written.
    bool open(const QString &path, QString *error);
    /// Whether write() has somewhere to write to.
    bool isOpen() const { return m_file.isOpen(); }
    /// What was written stays; open() would replace it.
    void close() { m_file.close(); }
    /// Whole packets only, each with one write. False with a line if it fails.
    bool write(const Transmission &transmission, QString *error);

    /// What the file begins with.
    static QByteArray header();
    /// The time in microseconds since 1970.
    static QByteArray packet(const Transmission &transmission, qint64 wallUs);

private:
    bool append(const QByteArray &bytes, QString *error);

    QFile m_file;
    /// From the monotonic clock to the time of day.
    qint64 m_wallOffsetUs = 0;
};

} // namespace mdbsim
