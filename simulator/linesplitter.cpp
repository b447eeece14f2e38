#include "linesplitter.h"

namespace mdbsim {

QVector<LineSplitter::Line> LineSplitter::feed(const QByteArray &bytes)
{
    QVector<Line> lines;
    int start = 0;
    for (int end = bytes.indexOf('\n'); end >= 0; end = bytes.indexOf('\n', start)) {
        append(bytes.mid(start, end - start), &lines);
        endLine(&lines);
        start = end + 1;
    }
    append(bytes.mid(start), &lines);
    return lines;
}

void LineSplitter::append(const QByteArray &piece, QVector<Line> *lines)
{
    if (m_skipping)
        return;
    m_part += piece;
    if (m_part.size() <= maxBytes)
        return;
    lines->append({{}, true});
    m_part.clear();
    m_skipping = true;
}

void LineSplitter::endLine(QVector<Line> *lines)
{
    const QByteArray text = m_part.trimmed();
    if (!text.isEmpty())
        lines->append({text, false});
    m_part.clear();
    m_skipping = false;
}

} // namespace mdbsim
