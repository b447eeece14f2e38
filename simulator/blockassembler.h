#pragma once

#include "ptyline.h"

#include <QVector>

namespace mdbsim {

/// Something whole that came from the master.
struct Arrival
{
    /// Damaged: a block whose check byte is wrong or missing. Noise: a byte that begins no block.
    enum class Kind { Command, Damaged, Ack, Retransmit, Nak, Noise };

    /// Decides which of the fields below mean something.
    Kind kind = Kind::Noise;
    /// Command: address byte and data without the check byte. Damaged, Noise: all bytes.
    QByteArray bytes;
    /// When the last byte was read, in monotonic microseconds.
    qint64 timeUs = 0;
    /// Bytes whose mode bit was wrong or came into doubt. A pseudo-terminal can show the parity
    /// too late under load, so they are counted and nothing is lost for them.
    int modeDoubts = 0;
};

/// Puts the master's bytes together to blocks.
class BlockAssembler
{
public:
    /// What is whole now that this byte came, oldest first; often nothing.
    QVector<Arrival> feed(const LineByte &byte);
    /// To be called when no byte has come up to nowUs: a pause ends a block.
    QVector<Arrival> pause(qint64 nowUs);
    /// Whether a block has begun and not ended.
    bool hasPart() const { return !m_bytes.isEmpty(); }

private:
    bool begin(const LineByte &byte, QVector<Arrival> *arrivals);
    void append(const LineByte &byte);
    void endByLength(QVector<Arrival> *arrivals);
    Arrival take(Arrival::Kind kind);

    QByteArray m_bytes;
    qint64 m_lastUs = 0;
    int m_modeDoubts = 0;
};

/// Sum of the bytes modulo 256.
quint8 checkByteOf(const QByteArray &bytes);

} // namespace mdbsim
