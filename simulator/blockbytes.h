#pragma once

#include "peripheral.h"

#include <QStringList>

#include <initializer_list>

namespace mdbsim {

/// A block typed as numbers, of each its lowest eight bits.
QByteArray bytesOf(std::initializer_list<int> values);

/// The byte at this index, 0 to 255.
int byteAt(const QByteArray &block, int index);
/// The big-endian number of two bytes at this index.
int wordAt(const QByteArray &block, int index);

/// Four decimal digits as the two bytes of packed BCD, for example 1840 as 0x1840.
int packedBcd(int digits);

/// Maker 3, serial 12, model 12 and version 2 bytes, as every identification begins.
QByteArray identificationBytes(const QByteArray &model);
/// Such bytes in words.
QString identificationWords(const QByteArray &bytes);

/// Numbers of the types whose bits are set, for example "0,2"; "all" of 16, or "none".
QString typeWords(int mask);
/// The bytes as numbers up to the last that is not 0, for example "5 10"; "none" if all are 0.
QString numberWords(const QByteArray &bytes);
/// Names of the bits that are set, lowest first; one without a name is called "bit 7". "all" of
/// 32, or "none".
QString bitWords(quint32 bits, const QStringList &names);
/// The bytes as text, for example "0x12 0x34".
QString hexWords(const QByteArray &bytes);
/// What a reply without data is called.
QString plainReplyWord(Reply::Kind kind);

} // namespace mdbsim
