#include "terminal.h"

#include "deviceview.h"
#include "machine.h"
#include "shortcommand.h"

#include <QJsonDocument>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <utility>

#include <editline/readline.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace mdbsim {

namespace {

constexpr char prompt[] = "mdbsim> ";
constexpr int promptWidth = sizeof prompt - 1;
constexpr int refreshMs = 200;

/// The line editor calls back without a context.
Terminal *current = nullptr;

int columns()
{
    winsize size = {};
    const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

void put(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
}

/// Rows of the screen from the prompt's to that of the cursor, which is behind so many characters.
int rowsBefore(int characters)
{
    return (promptWidth + characters) / columns();
}

/// Clears the screen from so many rows above the cursor's.
void erase(int rows)
{
    std::printf("\r");
    if (rows > 0)
        std::printf("\x1b[%dA", rows);
    std::printf("\x1b[J");
}

QString compact(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QString answerText(QJsonObject answer)
{
    if (!answer.take(QStringLiteral("ok")).toBool())
        return QStringLiteral("error: ") + answer.value(QStringLiteral("error")).toString();
    return answer.isEmpty() ? QStringLiteral("ok") : QStringLiteral("ok ") + compact(answer);
}

QString usage(const ActionForm &form)
{
    QString text = form.name;
    for (const ActionField &field : form.fields)
        text += field.required ? QLatin1Char(' ') + field.name
                               : QStringLiteral(" [%1]").arg(field.name);
    return text;
}

} // namespace

Terminal::Terminal(Machine *machine, QObject *parent)
    : QObject(parent), m_machine(machine), m_input(STDIN_FILENO, QSocketNotifier::Read)
{
    current = this;
    ::tcgetattr(STDIN_FILENO, &m_before);
    rl_readline_name = const_cast<char *>("mdbsim");
    rl_basic_word_break_characters = " ";
    rl_attempted_completion_function = &Terminal::onTab;
    rl_callback_handler_install(prompt, &Terminal::onLine);
    connect(&m_input, &QSocketNotifier::activated, this, &Terminal::read);
    connect(machine, &Machine::event, this, &Terminal::showEvent);
    auto *refresh = new QTimer(this);
    connect(refresh, &QTimer::timeout, this, &Terminal::refreshView);
    refresh->start(refreshMs);
}

Terminal::~Terminal()
{
    rl_callback_handler_remove();
    ::tcsetattr(STDIN_FILENO, TCSADRAIN, &m_before);
    std::printf("\n");
    std::fflush(stdout);
    current = nullptr;
}

void Terminal::read()
{
    rl_callback_read_char();
    if (!std::exchange(m_lineDone, false))
        return;
    drawView();
    rl_callback_handler_install(prompt, &Terminal::onLine);
}

void Terminal::onLine(char *line)
{
    current->m_lineDone = true;
    if (line)
        current->takeLine(QString::fromLocal8Bit(line));
    else
        Q_EMIT current->finished();
    std::free(line);
}

/// The view moves down below what the line brings.
void Terminal::takeLine(const QString &line)
{
    erase(m_view.size() + rowsBefore(line.size()) + 1);
    put(QLatin1String(prompt) + line);
    const QString command = line.trimmed();
    if (command.isEmpty())
        return;
    add_history(command.toLocal8Bit().constData());
    if (command == QLatin1String("quit"))
        Q_EMIT finished();
    else if (command == QLatin1String("help") || command.startsWith(QLatin1String("help ")))
        showHelp(command.mid(4).trimmed());
    else if (command == QLatin1String("watch"))
        m_watching = !m_watching;
    else if (command == QLatin1String("state"))
        put(deviceLines(m_machine->state(), m_lastEvents).join(QLatin1Char('\n')));
    else
        perform(command);
}

void Terminal::perform(const QString &line)
{
    QString error;
    const auto action = shortCommand(*m_machine, line, &error);
    put(action ? answerText(m_machine->perform(*action)) : QStringLiteral("error: ") + error);
}

/// Everything, or what the devices know whose names begin like this.
void Terminal::showHelp(const QString &wanted)
{
    for (const QString &device : m_machine->devices()) {
        if (!device.startsWith(wanted))
            continue;
        for (const ActionForm &form : m_machine->actions(device))
            put(QStringLiteral("%1 %2").arg(device, usage(form)));
    }
    if (!wanted.isEmpty())
        return;
    put(QStringLiteral("help DEVICE     only what this device knows"));
    put(QStringLiteral("report          how the bus did so far"));
    put(QStringLiteral("hangUp          the port vanishes and comes back"));
    put(QStringLiteral("state           what is in every device"));
    put(QStringLiteral("watch           keeps that in sight, or no longer"));
    put(QStringLiteral("quit            or Ctrl-D"));
    put(QStringLiteral("Tab completes; [fields] are optional; field=value works as well."));
}

void Terminal::showEvent(const QJsonObject &event)
{
    m_lastEvents.insert(event.value(QStringLiteral("device")).toString(),
                        event.value(QStringLiteral("event")).toString());
    print(compact(event));
}

void Terminal::print(const QString &line)
{
    eraseToView();
    put(line);
    drawView();
    rl_forced_update_display();
}

void Terminal::refreshView()
{
    const QStringList lines =
        m_watching ? deviceLines(m_machine->state(), m_lastEvents) : QStringList();
    if (lines == m_view)
        return;
    eraseToView();
    drawView();
    rl_forced_update_display();
}

void Terminal::eraseToView() const
{
    const QString beforeCursor = QString::fromLocal8Bit(rl_line_buffer, rl_point);
    erase(m_view.size() + rowsBefore(beforeCursor.size()));
}

void Terminal::drawView()
{
    m_view = m_watching ? deviceLines(m_machine->state(), m_lastEvents) : QStringList();
    const int width = columns() - 1;
    for (const QString &line : qAsConst(m_view))
        put(line.left(width));
    std::fflush(stdout);
}

QStringList Terminal::completionsOf(const QString &line) const
{
    QStringList words = completions(*m_machine, line);
    for (const QString &own : {QStringLiteral("watch"), QStringLiteral("quit")}) {
        if (own.startsWith(line))
            words.append(own);
    }
    return words;
}

char **Terminal::onTab(const char *text, int start, int end)
{
    Q_UNUSED(start)
    rl_attempted_completion_over = 1;
    current->m_completions = current->completionsOf(QString::fromLocal8Bit(rl_line_buffer, end));
    const QStringList &found = current->m_completions;
    const bool isField = !found.isEmpty() && found.first().endsWith(QLatin1Char('='));
    rl_completion_append_character = isField ? 0 : int(' ');
    return rl_completion_matches(text, &Terminal::nextCompletion);
}

char *Terminal::nextCompletion(const char *text, int index)
{
    Q_UNUSED(text)
    const QStringList &found = current->m_completions;
    return index < found.size() ? ::strdup(qPrintable(found.at(index))) : nullptr;
}

} // namespace mdbsim
