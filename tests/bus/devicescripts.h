#pragma once

#include "support/scriptedpeer.h"

/// Start-ups as the devices see them: one exchange a line, "what the master sends > the reply",
/// and a backslash joins a line to the next one. An intact data block is acknowledged.
namespace devicescripts {

/// The master's first exchanges with a changer, up to the poll at which it reports its reset.
constexpr const char *coinBeforeReset = R"(
    0B 0B > 00
    08 08 > 00
)";
constexpr const char *coinStart = R"(
    0B 0B > 0B 0B
    0B 0B > 00
    09 09 > 02 19 78 05 02 00 03 01 02 A0
    0B 0B > 00
    0F 00 0F > \
        56 4D 43 30 30 30 30 30 30 30 30 30 30 30 31 43 31 20 20 20 20 20 20 20 \
        20 20 20 01 00 00 00 00 03 DF
    0B 0B > 00
    0C FF FF FF FF 08 > 00
    0B 0B > 00
    0A 0A > 00 00 07 09 10
)";
constexpr const char *coinPoll = "0B 0B > 00";

constexpr const char *billBeforeReset = R"(
    33 33 > 00
    30 30 > 00
)";
constexpr const char *billStart = R"(
    33 33 > 06 06
    33 33 > 00
    31 31 > 01 19 78 00 64 02 01 F4 00 00 FF 05 0A FB
    32 FF FF 30 > 00
    37 00 37 > \
        56 4D 43 30 30 30 30 30 30 30 30 30 30 30 31 42 31 20 20 20 20 20 20 20 \
        20 20 20 01 00 DB
    37 02 39 >
    37 01 FF FF FF FF 34 >
    34 00 FF 00 FF 32 > 00
)";
constexpr const char *billPoll = "33 33 > 00";

constexpr const char *readerBeforeReset = R"(
    12 12 > 00
    10 10 > 00
)";
constexpr const char *readerStart = R"(
    12 12 > 00 00
    12 12 > 00
    12 12 > 00
    11 00 03 10 02 01 27 > 01 01 18 40 01 02 05 00 62
    12 12 > 00
    17 00 4B 54 56 30 30 30 30 30 30 30 30 30 30 00 56 65 78 61 20 42 6F 61 \
    72 64 00 00 02 12 B0 4C > \
        09 56 4D 43 30 30 30 30 30 30 30 30 30 30 30 31 52 31 20 20 20 20 20 20 \
        20 20 20 20 01 00 F4
    12 12 > 00
    11 01 FF FF 00 00 10 > 00
    12 12 > 00
    14 01 15 > 00
)";
constexpr const char *readerPoll = "12 12 > 00";

constexpr const char *secondReaderBeforeReset = R"(
    62 62 > 00
    60 60 > 00
)";
constexpr const char *secondReaderStart = R"(
    62 62 > 00 00
    62 62 > 00
    62 62 > 00
    61 00 03 10 02 01 77 > 01 02 18 40 01 02 05 00 63
    62 62 > 00
    67 00 4B 54 56 30 30 30 30 30 30 30 30 30 30 00 56 65 78 61 20 42 6F 61 \
    72 64 00 00 02 12 B0 9C > \
        09 56 4D 43 30 30 30 30 30 30 30 30 30 30 30 31 52 31 20 20 20 20 20 20 \
        20 20 20 20 01 00 F4
    62 62 > 00
    61 01 FF FF 00 00 60 > 00
    62 62 > 00
    64 01 65 > 00
)";
constexpr const char *secondReaderPoll = "62 62 > 00";

/// By device number.
constexpr const char *beforeResetOf[] = {readerBeforeReset, secondReaderBeforeReset,
                                         billBeforeReset, coinBeforeReset};
constexpr const char *startOf[] = {readerStart, secondReaderStart, billStart, coinStart};
constexpr const char *pollOf[] = {readerPoll, secondReaderPoll, billPoll, coinPoll};

/// A script of acknowledged exchanges without the acknowledgements.
inline QByteArray unanswered(const QByteArray &script)
{
    return QByteArray(script).replace("> 00", ">") + '\n';
}
/// From the first poll until the device is in use.
inline QByteArray wholeStartOf(int number)
{
    return QByteArray(beforeResetOf[number]) + startOf[number];
}

inline bool isIntact(const QByteArray &bytes)
{
    unsigned int sum = 0;
    for (const char byte : bytes.left(bytes.size() - 1))
        sum += static_cast<unsigned char>(byte);
    return bytes.size() > 1 && static_cast<char>(sum) == bytes.back();
}

/// The exchanges of a script.
inline QVector<ScriptedExchange> exchanges(const QByteArray &script)
{
    QVector<ScriptedExchange> list;
    for (const QByteArray &line : QByteArray(script).replace("\\\n", " ").split('\n')) {
        const QByteArrayList halves = line.trimmed().split('>');
        if (halves.size() != 2)
            continue;
        const bool acknowledged = isIntact(QByteArray::fromHex(halves.at(1)).left(40));
        list.append({halves.at(0), halves.at(1).trimmed(), acknowledged ? "00" : ""});
    }
    return list;
}

/// What the master sends in a script, as the peer writes it.
inline QByteArrayList blocks(const QByteArray &script)
{
    QByteArrayList list;
    for (const ScriptedExchange &exchange : exchanges(script))
        list.append(QByteArray::fromHex(exchange.expected).toHex(' '));
    return list;
}

} // namespace devicescripts
