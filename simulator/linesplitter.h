#pragma once

#include <QByteArray>
#include <QVector>

namespace mdbsim {

/// Puts a stream of bytes into lines.
class LineSplitter
{
public:
    /// Longer lines are dropped.
    static constexpr int maxBytes = 64 * 1024;

    /// One line of the stream.
    struct Line
    {
        /// Without white space at its ends; never empty unless it was too long.
        QByteArray text;
        /// Over maxBytes; the text is empty.
        bool tooLong = false;
    };

    /// The lines that end within these bytes. A line that becomes too long is told of at once, its
    /// rest is skipped.
    QVector<Line> feed(const QByteArray &bytes);
    /// The last line, if it came without a newline.
    QVector<Line> finish() { return feed(QByteArray(1, '\n')); }

private:
    void append(const QByteArray &piece, QVector<Line> *lines);
    void endLine(QVector<Line> *lines);

    /// What has come of a line whose end has not.
    QByteArray m_part;
    bool m_skipping = false;
};

} // namespace mdbsim
