#pragma once

#include <QHash>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QStringList>

#include <termios.h>

namespace mdbsim {

class Machine;

/// A person who drives a machine at the terminal on standard input and output, with short commands
/// (see shortCommand()), completion, history and, with the command "watch", a line for each device
/// that is kept up to date above the prompt. One object at a time.
class Terminal : public QObject
{
    Q_OBJECT

public:
    /// Shows the prompt. The machine must outlive the terminal.
    explicit Terminal(Machine *machine, QObject *parent = nullptr);
    ~Terminal() override;

    /// Above the prompt; what was typed stays.
    void print(const QString &line);

Q_SIGNALS:
    /// The person wants no more.
    void finished();

private:
    static void onLine(char *line);
    static char **onTab(const char *text, int start, int end);
    static char *nextCompletion(const char *text, int index);

    void read();
    void takeLine(const QString &line);
    void perform(const QString &line);
    void showEvent(const QJsonObject &event);
    void showHelp(const QString &wanted);
    void refreshView();
    void eraseToView() const;
    void drawView();
    QStringList completionsOf(const QString &line) const;

    Machine *m_machine;
    QSocketNotifier m_input;
    /// How the terminal was; the line editor leaves it a little different.
    termios m_before = {};
    QHash<QString, QString> m_lastEvents;
    /// The lines above the prompt.
    QStringList m_view;
    QStringList m_completions;
    bool m_watching = false;
    /// The editor has handed over a line and waits for its next start.
    bool m_lineDone = false;
};

} // namespace mdbsim
