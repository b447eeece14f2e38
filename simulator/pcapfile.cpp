#include "pcapfile.h"

#include "ptyline.h"

#include <QtEndian>

#include <chrono>

namespace mdbsim {

namespace {

constexpr quint32 pcapMagic = 0xA1B2C3D4;
constexpr quint16 majorVersion = 2;
constexpr quint16 minorVersion = 4;
constexpr quint32 longestPacket = 65535;
constexpr quint32 mdbLinkType = 300;

/// First bytes of a packet of this link type.
constexpr char layoutVersion = '\x00';
constexpr char fromMaster = '\xFF';
constexpr char fromPeripheral = '\xFE';

template <class Number>
void appendNumber(QByteArray *bytes, Number number)
{
    char raw[sizeof(Number)];
    qToLittleEndian(number, raw);
    bytes->append(raw, sizeof raw);
}

QByteArray packetBytes(const Transmission &transmission)
{
    QByteArray bytes(1, layoutVersion);
    if (transmission.sender == Transmission::Sender::Master) {
        bytes.append(fromMaster);
    } else {
        bytes.append(fromPeripheral);
        bytes.append(static_cast<char>(transmission.address));
    }
    return bytes + transmission.bytes;
}

qint64 wallClockUs()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

} // namespace

bool PcapFile::open(const QString &path, QString *error)
{
    m_file.close();
    m_file.setFileName(path);
    m_wallOffsetUs = wallClockUs() - monotonicUs();
    if (m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return append(header(), error);
    *error = QStringLiteral("cannot write %1: %2").arg(path, m_file.errorString());
    return false;
}

bool PcapFile::write(const Transmission &transmission, QString *error)
{
    return append(packet(transmission, transmission.timeUs + m_wallOffsetUs), error);
}

QByteArray PcapFile::header()
{
    QByteArray bytes;
    appendNumber(&bytes, pcapMagic);
    appendNumber(&bytes, majorVersion);
    appendNumber(&bytes, minorVersion);
    // Time zone and accuracy, which everybody leaves at 0.
    appendNumber<quint32>(&bytes, 0);
    appendNumber<quint32>(&bytes, 0);
    appendNumber(&bytes, longestPacket);
    appendNumber(&bytes, mdbLinkType);
    return bytes;
}

QByteArray PcapFile::packet(const Transmission &transmission, qint64 wallUs)
{
    const QByteArray content = packetBytes(transmission);
    QByteArray bytes;
    appendNumber(&bytes, static_cast<quint32>(wallUs / 1000000));
    appendNumber(&bytes, static_cast<quint32>(wallUs % 1000000));
    appendNumber(&bytes, static_cast<quint32>(content.size()));
    appendNumber(&bytes, static_cast<quint32>(content.size()));
    return bytes + content;
}

bool PcapFile::append(const QByteArray &bytes, QString *error)
{
    if (m_file.write(bytes) == bytes.size())
        return true;
    *error = QStringLiteral("cannot write %1: %2").arg(m_file.fileName(), m_file.errorString());
    return false;
}

} // namespace mdbsim
