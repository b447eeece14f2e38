#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace mdbsim {

/// Reads a descriptor, which stays the caller's, as bytes come.
class InputReader : public QObject
{
    Q_OBJECT

public:
    /// Begins once control is back at the event loop.
    explicit InputReader(int descriptor, QObject *parent = nullptr);

Q_SIGNALS:
    /// At most 4096 bytes, as they came.
    void received(const QByteArray &bytes);
    /// Nothing more will come.
    void ended();

private:
    void read();

    QSocketNotifier m_notifier;
};

} // namespace mdbsim
