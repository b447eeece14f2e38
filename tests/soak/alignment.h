#pragma once

#include <QPair>
#include <QSet>
#include <QVector>

#include <optional>

namespace soak {

/// Finds which report each record came from: both lists are in order, every record has a report,
/// and a report without a record is one that is not certain to have been heard. For each record
/// the index of its report; nothing if the lists do not fit together.
template <class Said, class Record, class Fits>
class Alignment
{
public:
    Alignment(const QVector<Said> &said, const QVector<Record> &records, Fits fits)
        : m_said(said), m_records(records), m_fits(fits)
    {
    }

    std::optional<QVector<int>> find()
    {
        if (!match(0, 0))
            return std::nullopt;
        return m_found;
    }

private:
    bool match(int said, int record)
    {
        if (said == m_said.size())
            return record == m_records.size();
        if (m_dead.contains({said, record}))
            return false;
        if (record < m_records.size() && m_fits(m_said.at(said), record)) {
            m_found.append(said);
            if (match(said + 1, record + 1))
                return true;
            m_found.removeLast();
        }
        if (!m_said.at(said).certain && match(said + 1, record))
            return true;
        m_dead.insert({said, record});
        return false;
    }

    const QVector<Said> &m_said;
    const QVector<Record> &m_records;
    Fits m_fits;
    QVector<int> m_found;
    /// Where the rest was found not to fit.
    QSet<QPair<int, int>> m_dead;
};

} // namespace soak
