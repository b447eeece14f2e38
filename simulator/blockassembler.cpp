#include "blockassembler.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <optional>

namespace mdbsim {

namespace {

/// The longest block of the standard, check byte included.
constexpr int maxBlockBytes = 36;
/// Bytes of one block are 1.1 ms apart. What has its check byte is a block after this pause, soon
/// enough for a reply within the standard's 5 ms.
constexpr qint64 gapUs = 4000;
/// A mode bit in mid block opens a new one only after such a pause; sooner it may well be parity
/// that was read too late on a busy machine.
constexpr qint64 newBlockUs = 20000;
/// What a busy machine may make of the gap inside a block before the block is given up.
constexpr qint64 lostUs = 400000;

constexpr int anySub = -1;
constexpr int noSub = -2;

/// Bytes of a command without the check byte; 0x10 stands for both readers.
struct CommandLength
{
    quint8 first;
    int sub;
    int bytes;
    int longerForm;
};

constexpr CommandLength commandLengths[] = {
    {0x08, noSub, 1, 0}, {0x09, noSub, 1, 0},  {0x0A, noSub, 1, 0}, {0x0B, noSub, 1, 0},
    {0x0C, noSub, 5, 0}, {0x0D, noSub, 2, 0},  {0x0F, 0x00, 2, 0},  {0x0F, 0x01, 2, 6},
    {0x0F, 0x02, 3, 0},  {0x0F, 0x03, 2, 0},   {0x0F, 0x04, 2, 0},  {0x0F, 0x05, 2, 0},
    {0x30, noSub, 1, 0}, {0x31, noSub, 1, 0},  {0x32, noSub, 3, 0}, {0x33, noSub, 1, 0},
    {0x34, noSub, 5, 0}, {0x35, noSub, 2, 0},  {0x36, noSub, 1, 0}, {0x37, 0x00, 2, 0},
    {0x37, 0x01, 6, 0},  {0x37, 0x02, 2, 0},   {0x10, noSub, 1, 0}, {0x11, 0x00, 6, 0},
    {0x11, 0x01, 6, 12}, {0x12, noSub, 1, 0},  {0x13, 0x00, 6, 8},  {0x13, 0x01, 2, 0},
    {0x13, 0x02, 4, 0},  {0x13, 0x03, 2, 0},   {0x13, 0x04, 2, 0},  {0x13, 0x05, 6, 10},
    {0x13, 0x06, 6, 8},  {0x14, anySub, 2, 0}, {0x15, 0x00, 4, 6},  {0x15, 0x01, 2, 0},
    {0x17, 0x00, 31, 0}, {0x17, 0x04, 6, 0},   {0x17, 0xFF, 20, 0},
};

quint8 at(const QByteArray &bytes, int index)
{
    return static_cast<quint8>(bytes.at(index));
}

bool isKnownAddress(quint8 byte)
{
    const int address = byte & 0xF8;
    return address == 0x08 || address == 0x10 || address == 0x30 || address == 0x60;
}

const CommandLength *lengthOf(const QByteArray &bytes)
{
    quint8 first = at(bytes, 0);
    if ((first & 0xF8) == 0x60)
        first = static_cast<quint8>(0x10 | (first & 0x07));
    const auto found = std::find_if(
        std::begin(commandLengths), std::end(commandLengths), [&](const CommandLength &known) {
            if (known.first != first)
                return false;
            return known.sub < 0 || (bytes.size() > 1 && known.sub == at(bytes, 1));
        });
    return found == std::end(commandLengths) ? nullptr : found;
}

bool checkMatches(const QByteArray &bytes)
{
    return bytes.size() > 1
        && checkByteOf(bytes.left(bytes.size() - 1)) == at(bytes, bytes.size() - 1);
}

std::optional<Arrival::Kind> answerKind(quint8 byte)
{
    switch (byte) {
    case 0x00:
        return Arrival::Kind::Ack;
    case 0xAA:
        return Arrival::Kind::Retransmit;
    case 0xFF:
        return Arrival::Kind::Nak;
    default:
        return std::nullopt;
    }
}

} // namespace

quint8 checkByteOf(const QByteArray &bytes)
{
    const auto add = [](unsigned sum, char byte) { return sum + static_cast<quint8>(byte); };
    return static_cast<quint8>(std::accumulate(bytes.begin(), bytes.end(), 0U, add));
}

QVector<Arrival> BlockAssembler::feed(const LineByte &byte)
{
    QVector<Arrival> arrivals = pause(byte.timeUs);
    const bool newAddress = byte.modeBit && byte.modeSure && byte.timeUs - m_lastUs >= newBlockUs;
    if (hasPart() && newAddress)
        arrivals.append(take(Arrival::Kind::Damaged));
    if (!hasPart() && !begin(byte, &arrivals))
        return arrivals;
    append(byte);
    endByLength(&arrivals);
    return arrivals;
}

QVector<Arrival> BlockAssembler::pause(qint64 nowUs)
{
    const qint64 gap = nowUs - m_lastUs;
    if (hasPart() && gap >= gapUs && checkMatches(m_bytes))
        return {take(Arrival::Kind::Command)};
    if (hasPart() && gap >= lostUs)
        return {take(Arrival::Kind::Damaged)};
    return {};
}

/// Whether the byte opens a block; if not, it is an arrival of its own.
bool BlockAssembler::begin(const LineByte &byte, QVector<Arrival> *arrivals)
{
    const bool certainAddress = byte.modeBit && byte.modeSure;
    const auto answer = answerKind(byte.value);
    if (!answer && (certainAddress || isKnownAddress(byte.value)))
        return true;
    append(byte);
    arrivals->append(take(answer.value_or(Arrival::Kind::Noise)));
    return false;
}

void BlockAssembler::append(const LineByte &byte)
{
    const bool addressByte = m_bytes.isEmpty() && !answerKind(byte.value);
    if (!byte.modeSure || byte.modeBit != addressByte)
        ++m_modeDoubts;
    m_bytes.append(static_cast<char>(byte.value));
    m_lastUs = byte.timeUs;
}

void BlockAssembler::endByLength(QVector<Arrival> *arrivals)
{
    const CommandLength *known = lengthOf(m_bytes);
    const int longest = known ? std::max(known->bytes, known->longerForm) + 1 : maxBlockBytes;
    if (m_bytes.size() < longest)
        return;
    arrivals->append(take(checkMatches(m_bytes) ? Arrival::Kind::Command : Arrival::Kind::Damaged));
}

Arrival BlockAssembler::take(Arrival::Kind kind)
{
    Arrival arrival = {kind, m_bytes, m_lastUs, m_modeDoubts};
    if (kind == Arrival::Kind::Command)
        arrival.bytes.chop(1);
    m_bytes.clear();
    m_modeDoubts = 0;
    return arrival;
}

} // namespace mdbsim
