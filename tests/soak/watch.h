#pragma once

#include "audit.h"

#include "qml/salebench.h"

namespace soak {

/// The user interface of one machine, and its witness: keeps the books of the item and of the
/// devices, and the last things that happened.
class Watch : public QObject
{
    Q_OBJECT

public:
    struct Counts
    {
        int exchanges = 0;
        int resets = 0;
        /// Devices that were back in service after they had been lost.
        int recoveries = 0;
        QMap<QString, int> faults;
    };

    Watch(SaleBench *bench, const ItemBook::Rules &rules, const QJsonObject &config);

    // Calls of the user interface.
    bool sell(int price);
    void finish(DrinkState state);
    void cancel();
    void settle();
    void close();
    bool open(const QString &port);
    void setting(const QJsonObject &settings, const ItemBook::Rules &rules);
    /// The line was or will be cut: commands may be lost without a trace.
    void touchLine() { m_lineTouched = true; }

    bool selling() const { return m_item.selling(); }
    /// Goods wait until they may be set.
    bool deferred() const { return m_deferred; }
    bool allowed() const { return m_allowed; }

    /// Compares the books; only when everything is at rest.
    QStringList audit();
    /// A difference that was seen in mid sale; empty if there is none.
    QStringList complaints() const { return m_complaints; }
    const ItemBook &item() const { return m_item; }
    const CauseTable &causes() const { return m_causes; }
    const Counts &counts() const { return m_counts; }
    const LineBook &line() const { return m_line; }

    void note(const QString &what);
    const QStringList &timeline() const { return m_timeline; }

    /// Records come to the item one by one, each in an event of its own.
    bool eventFilter(QObject *item, QEvent *event) override;

private Q_SLOTS:
    void keepPublished(const QJsonObject &published);
    void keepPermission() { m_allowed = m_item.selling(); }
    void keepGoods();

private:
    void keepEvent(const QJsonObject &event);
    void keepExchange(const mdbsim::Exchange &exchange);
    void countRecovery(const QJsonObject &record);
    void compareCredit();
    int damage() const;

    SaleBench *m_bench;
    CauseTable m_causes;
    ItemBook m_item;
    LineBook m_line;
    Audit m_audit;
    QJsonObject m_published;
    Counts m_counts;
    QStringList m_complaints;
    QStringList m_timeline;
    int m_price = 0;
    bool m_deferred = false;
    bool m_allowed = false;
    bool m_lineTouched = false;
    int m_damage = 0;
    /// A record is being delivered to the item, and was it seen yet.
    bool m_delivering = false;
    bool m_recordSeen = false;
    /// Device numbers that were in service, and those of them that are lost.
    QMap<int, bool> m_lost;
};

} // namespace soak
