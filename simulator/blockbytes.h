#pragma once

#include "peripheral.h"

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

/// The bytes as text, for example "0x12 0x34".
QString hexWords(const QByteArray &bytes);
/// What a reply without data is called.
QString plainReplyWord(Reply::Kind kind);

} // namespace mdbsim
