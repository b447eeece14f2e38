#include "mdbcontroller.h"

#include "protocollog.h"

#include <QLoggingCategory>

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <vector>

namespace {

Q_LOGGING_CATEGORY(busLog, "kovira.mdb")

constexpr std::chrono::milliseconds pauseBetweenDevices{30};

/// Above ordinary threads, below the kernel's interrupt threads (50).
constexpr int realTimePriority = 20;

/// The calling thread's real-time scheduling: an animated user interface on the same core must not
/// delay an ACK beyond the standard's 5 ms. Where the system does not permit it the bus goes on
/// without.
class RealTimeScheduling
{
public:
    void set(bool wanted)
    {
        if (wanted == m_wanted)
            return;
        m_wanted = wanted;
        sched_param parameters{};
        parameters.sched_priority = wanted ? realTimePriority : 0;
        const int error =
            pthread_setschedparam(pthread_self(), wanted ? SCHED_FIFO : SCHED_OTHER, &parameters);
        if (error != 0 && !m_complained)
            qCInfo(busLog, "The bus thread runs without real-time scheduling: %s",
                   qPrintable(qt_error_string(error)));
        m_complained = m_complained || error != 0;
    }

private:
    bool m_wanted = false;
    bool m_complained = false;
};

QJsonObject placeholder()
{
    return {{"active", false}, {"enabled", false}, {"deviceNo", -1}};
}

/// What all controllers of the process share. The mutex is not held while a signal runs; instead
/// each emission is on record, and a controller waits for those of other threads before it goes.
struct Shared
{
    struct Emission
    {
        const MdbController *controller;
        std::thread::id thread;
    };

    std::mutex mutex;
    std::condition_variable emissionEnded;
    MdbController *theThis = nullptr;
    QJsonArray deviceInfoArray;
    std::vector<Emission> emissions;
};

/// Never destroyed: a polling thread may outlive the static objects of a process that just exits.
Shared &shared()
{
    static auto *const instance = new Shared;
    return *instance;
}

MdbController *beginEmission(const QJsonObject &record, int deviceNo)
{
    const std::lock_guard<std::mutex> guard(shared().mutex);
    if (deviceNo >= 0 && deviceNo < shared().deviceInfoArray.size())
        shared().deviceInfoArray.replace(deviceNo, record);
    if (shared().theThis)
        shared().emissions.push_back({shared().theThis, std::this_thread::get_id()});
    return shared().theThis;
}

void endEmission(const MdbController *controller)
{
    const std::lock_guard<std::mutex> guard(shared().mutex);
    const auto own = std::find_if(shared().emissions.begin(), shared().emissions.end(),
                                  [=](const Shared::Emission &emission) {
                                      return emission.controller == controller
                                          && emission.thread == std::this_thread::get_id();
                                  });
    shared().emissions.erase(own);
    shared().emissionEnded.notify_all();
}

void leaveShared(const MdbController *controller)
{
    std::unique_lock<std::mutex> lock(shared().mutex);
    if (shared().theThis == controller)
        shared().theThis = nullptr;
    shared().emissionEnded.wait(lock, [=] {
        return std::none_of(shared().emissions.begin(), shared().emissions.end(),
                            [=](const Shared::Emission &emission) {
                                return emission.controller == controller
                                    && emission.thread != std::this_thread::get_id();
                            });
    });
}

} // namespace

MdbController::MdbController(QObject *parent)
    : QObject(parent), m_devices{&m_cashless1, &m_cashless2, &m_bill, &m_coin}
{
    m_cashless2.setAddress(mdb::cashless::secondAddress);
    for (auto &enabled : m_deviceEnabled)
        enabled = true;
    const std::lock_guard<std::mutex> guard(shared().mutex);
    shared().theThis = this;
    for (int i = 0; i < deviceCount; ++i)
        shared().deviceInfoArray.append(placeholder());
}

MdbController::~MdbController()
{
    leaveShared(this);
    closePoll();
    {
        const std::lock_guard<std::mutex> guard(m_threadMutex);
        m_ending = true;
    }
    m_wakeUp.notify_all();
    if (m_thread.joinable())
        m_thread.join();
    closeLineIfWanted();
}

void MdbController::deviceInit()
{
    for (int i = 0; i < deviceCount; ++i) {
        BaseProtocol *const protocol = device(i);
        protocol->setGetAllState(&MdbController::getDeviceState);
        protocol->setCMD(1);
        protocol->setDeviceNo(i);
    }
}

void MdbController::startPoll()
{
    const std::lock_guard<std::mutex> guard(m_threadMutex);
    if (m_polling)
        return;
    m_polling = true;
    // A thread that is still in its last cycle sees the flag when it is done, and goes on.
    if (m_threadRunning)
        return;
    if (m_thread.joinable())
        m_thread.join();
    m_threadRunning = true;
    m_thread = std::thread(&MdbController::pollThread, this);
}

void MdbController::closePoll()
{
    // Held to the end: the thread is not between two cycles, so that nobody but an exchange, which
    // closes the port behind itself, can have the line.
    const std::lock_guard<std::mutex> guard(m_threadMutex);
    m_polling = false;
    m_lineBarred = m_threadRunning;
    m_closeWanted = true;
    const std::unique_lock<std::mutex> line(m_lineMutex, std::try_to_lock);
    if (line.owns_lock())
        closeLineIfWanted();
}

BaseProtocol *MdbController::device(int number)
{
    return number >= 0 && number < deviceCount ? m_devices[static_cast<std::size_t>(number)]
                                               : nullptr;
}

CashlessProtocol *MdbController::cashless(int number)
{
    switch (number) {
    case 0:
        return &m_cashless1;
    case 1:
        return &m_cashless2;
    default:
        return nullptr;
    }
}

void MdbController::setDeviceEnabled(int number, bool enabled)
{
    if (device(number))
        m_deviceEnabled[static_cast<std::size_t>(number)] = enabled;
}

bool MdbController::deviceEnabled(int number) const
{
    return number >= 0 && number < deviceCount && m_deviceEnabled[static_cast<std::size_t>(number)];
}

bool MdbController::anyDeviceEnabled() const
{
    return std::any_of(m_deviceEnabled.begin(), m_deviceEnabled.end(),
                       [](const std::atomic<bool> &enabled) { return enabled.load(); });
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the state callback hands records by value
void MdbController::getDeviceState(QJsonObject obj, int deviceNo)
{
    MdbController *const controller = beginEmission(obj, deviceNo);
    qCDebug(busLog) << "getDeviceState():deviceNo =" << deviceNo;
    qCDebug(busLog) << "getDeviceState():obj =" << obj;
    qCDebug(busLog) << "getDeviceState():action =" << obj.value(recordkey::action).toObject();
    protocollog::print("\n");
    if (!controller)
        return;
    Q_EMIT controller->deviceStateChanged(obj);
    endEmission(controller);
}

QJsonArray MdbController::deviceInfoArray()
{
    const std::lock_guard<std::mutex> guard(shared().mutex);
    return shared().deviceInfoArray;
}

MdbController *MdbController::theThis()
{
    const std::lock_guard<std::mutex> guard(shared().mutex);
    return shared().theThis;
}

void MdbController::writeDataToDevice(BaseProtocol *device)
{
    char reply[blockCapacity] = {};
    const char *const command = device->getCodeBuf();
    const int result = mdbWriteData(command, device->getCodeLen(), reply);
    device->analysisData(result, reply);
}

void MdbController::pollThread()
{
    pthread_setname_np(pthread_self(), "kovira-mdb");
    // Signals of the process are for its other threads: they would cut the waits of an exchange.
    sigset_t allSignals;
    sigfillset(&allSignals);
    pthread_sigmask(SIG_BLOCK, &allSignals, nullptr);

    RealTimeScheduling realTime;
    while (beginCycle()) {
        // A cycle without devices has no pause: as a real-time thread it would starve the others.
        realTime.set(anyDeviceEnabled());
        for (int i = 0; i < deviceCount; ++i) {
            if (!deviceEnabled(i))
                continue;
            writeDataToDevice(device(i));
            pause();
        }
    }
}

bool MdbController::beginCycle()
{
    const std::lock_guard<std::mutex> guard(m_threadMutex);
    m_threadRunning = m_polling;
    m_lineBarred = false;
    const std::lock_guard<std::mutex> line(m_lineMutex);
    closeLineIfWanted();
    return m_polling;
}

void MdbController::pause()
{
    std::unique_lock<std::mutex> lock(m_threadMutex);
    m_wakeUp.wait_for(lock, pauseBetweenDevices, [this] { return m_ending; });
}
