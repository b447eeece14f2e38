// The simulated machine: bytes of a line as blocks to its devices with actions in between, or a
// text as a control line, as a machine file and as a scenario.
#include "bytesource.h"

#include "billvalidator.h"
#include "blockassembler.h"
#include "cashlessreader.h"
#include "coinchanger.h"
#include "control.h"
#include "scenario.h"

#include <QJsonDocument>

#include <memory>
#include <vector>

using namespace mdbsim;

namespace {

constexpr int maxReplyBytes = 35;

/// The devices without a line; each action and block is a moment later.
class Desk
{
public:
    explicit Desk(ByteSource *source) : m_source(source)
    {
        const QJsonObject config = {{QStringLiteral("strict"), source->below(2) == 1},
                                    {QStringLiteral("joinedEvents"), source->below(2) == 1}};
        QString error;
        const auto changer = CoinChangerConfig::fromJson(config, &error);
        const auto validator = BillValidatorConfig::fromJson(config, &error);
        const auto reader = CashlessReaderConfig::fromJson(config, &error);
        require(changer && validator && reader);
        m_devices.push_back(std::make_unique<CoinChanger>(*changer));
        m_devices.push_back(std::make_unique<BillValidator>(*validator));
        m_devices.push_back(std::make_unique<CashlessReader>(*reader));
    }

    void step()
    {
        m_nowMs += m_source->byte();
        if (m_source->below(4) == 0)
            perform();
        else if (m_source->below(8) == 0)
            take(m_assembler.pause(m_nowMs * 1000));
        else
            takeByte();
    }

private:
    void takeByte()
    {
        LineByte byte;
        byte.value = m_source->byte();
        const int flags = m_source->below(4);
        byte.modeBit = (flags & 1) != 0;
        byte.modeSure = (flags & 2) == 0;
        byte.timeUs = m_nowMs * 1000;
        take(m_assembler.feed(byte));
    }

    void take(const QVector<Arrival> &arrivals)
    {
        for (const Arrival &arrival : arrivals) {
            require(!arrival.bytes.isEmpty() || arrival.kind != Arrival::Kind::Command);
            if (arrival.kind == Arrival::Kind::Command)
                ask(arrival.bytes);
        }
    }

    void ask(const QByteArray &block)
    {
        for (const auto &device : m_devices) {
            if (device->address() != (static_cast<quint8>(block[0]) & 0xF8))
                continue;
            device->advance(m_nowMs);
            const Reply reply = device->answer(block, m_nowMs);
            require(reply.data.size() <= maxReplyBytes);
            device->describeCommand(block);
            device->describeReply(block, reply);
            m_source->below(2) == 1 ? device->acknowledged() : device->notAcknowledged();
        }
    }

    void perform()
    {
        const auto &device = m_devices[static_cast<std::size_t>(m_source->below(3))];
        const QVector<ActionForm> forms = device->actions();
        const ActionForm &form = forms[m_source->below(forms.size())];
        QJsonObject action = {{QStringLiteral("action"), form.name}};
        for (const ActionField &field : form.fields)
            action.insert(field.name, m_source->byte() - 8);
        device->perform(action, m_nowMs);
        device->state();
    }

    ByteSource *m_source;
    BlockAssembler m_assembler;
    std::vector<std::unique_ptr<Peripheral>> m_devices;
    qint64 m_nowMs = 0;
};

void readText(const QByteArray &text)
{
    QString error;
    Machine machine;
    Control control(&machine, [](const QByteArray &line) { require(!line.contains('\n')); });
    control.receive(text);
    control.endInput();
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    require(Machine::accepts(object, &error) || !error.isEmpty());
    error.clear();
    require(Scenario::fromJson(object, &error) || !error.isEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size > 0 && (data[0] == '{' || data[0] == '[')) {
        readText(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
        return 0;
    }
    ByteSource source(data, size);
    Desk desk(&source);
    while (!source.empty())
        desk.step();
    return 0;
}
