#pragma once

#include "procotol/billprotocol.h"
#include "procotol/cashlessprotocol.h"
#include "procotol/coinprotocol.h"

#include <QJsonArray>
#include <QObject>

#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

struct termios;

/// Master of the MDB bus: owns the serial line and the four peripherals' protocol objects, polls
/// the enabled ones in turn from its own thread and turns their reports into a signal.
///
/// Device numbers: 0 first cashless reader (0x10), 1 second cashless reader (0x60), 2 bill
/// validator (0x30), 3 coin changer (0x08).
class MdbController : public QObject
{
    Q_OBJECT

public:
    /// Devices that the bus has.
    static constexpr int deviceCount = 4;

    /// A bus without a port, all devices in use. Records are emitted through it from now on.
    explicit MdbController(QObject *parent);
    /// Ends the polling thread and closes the port before the protocol objects go away.
    ~MdbController() override;

    /// Opens a serial device for MDB in place of the one in use (a null port configures that one
    /// anew). Waits for the exchange under way, no longer. Returns the descriptor, or -1; after a
    /// failure a bus that was open stays open.
    int mdbSerialInit(const char *port);
    /// Gives every device its callback and number and queues its RESET.
    void deviceInit();
    /// Starts polling; nothing if it is on. The thread never runs twice: after closePoll() a new
    /// round begins when the old cycle is over.
    void startPoll();
    /// Closes the port and ends polling. Does not wait: not one byte more is sent, and the thread
    /// ends with its cycle.
    void closePoll();

    /// The protocol object of a device number 0 to 3, otherwise null.
    BaseProtocol *device(int number);
    /// The reader of device number 0 or 1, otherwise null.
    CashlessProtocol *cashless(int number);
    /// The bill validator.
    BillProtocol *bill() { return &m_bill; }
    /// The coin changer.
    CoinProtocol *coin() { return &m_coin; }
    /// Whether the polling thread visits a device (number 0 to 3); all are on at first.
    void setDeviceEnabled(int number, bool enabled);
    /// False as well for a number beyond 0 to 3.
    bool deviceEnabled(int number) const;
    /// Whether there is a device to visit.
    bool anyDeviceEnabled() const;

    /// Receives the device state records of every protocol object, on the thread that reports.
    static void getDeviceState(QJsonObject obj, int deviceNo);
    /// The last record of each device at its number; placeholders until a device reports. A copy.
    static QJsonArray deviceInfoArray();
    /// The controller through which records are emitted: the one constructed last, or null.
    static MdbController *theThis();

    /// One exchange with a device, and its reply to the device's decoder.
    void writeDataToDevice(BaseProtocol *device);

    /// One exchange (MDB/ICP section 2): sends len command bytes with their check byte, receives
    /// the reply into 40 bytes and acknowledges a data block. Returns the bytes received with the
    /// check byte, 1 for a lone ACK or NAK (reply[0] tells which), -2 for a wrong check byte, -3
    /// for another lone byte, -4 for no reply.
    int mdbWriteData(const char *data, int len, char *reply);
    /// Sends ACK; returns the result of write().
    int mdbWriteAck();

    /// Opens a device for reading and writing, blocking. Returns the descriptor or -1.
    static int OpenSerialDevice(const char *path);
    /// Configures a descriptor from scratch. Returns 0 or the code of the last step that failed:
    /// -1 baud, -2 data bits, -4 stop bits, -3 parity, -5 the system refused.
    static int SetSerialPort(int fd, int baud, signed char dataBits, signed char parity,
                             signed char stopBits);
    /// The settings steps; each changes only the structure and returns 0, or -1 if unsupported.
    /// 38400 baud is not supported.
    static int SetSerialBaud(termios *settings, int baud);
    /// 5 to 8.
    static int SetSerialDataBits(termios *settings, signed char dataBits);
    /// 1 or 2.
    static int SetSerialStopBits(termios *settings, signed char stopBits);
    /// Upper-case letters only: N none, E even, O odd, M mark, S space.
    static int SetSerialParity(termios *settings, signed char letter);
    /// 1 if the number of one bits is odd, otherwise 0.
    static int parity(char c);
    /// Plain write; complains on standard error when it fails.
    static int SendSerialData(int fd, const char *buf, unsigned int len);
    /// Sleeps a number of milliseconds.
    static void delay(unsigned int ms);

Q_SIGNALS:
    /// A device state record, on the thread that reports: connect queued, or across threads.
    void deviceStateChanged(QJsonObject deviceInfo);

private:
    void pollThread();
    bool beginCycle();
    void pause();

    int configureForByte(char parityLetter);
    void writeByte(char byte);
    bool sendBlock(const char *data, int len);
    int receive(char *buffer);
    int exchange(const char *data, int len, char *reply);
    int judgeSingleByte(char byte) const;
    int judgeBlock(const char *bytes, int count);
    int replaceLine(const char *port);
    void closeLineIfWanted();
    void closeLine();

    CashlessProtocol m_cashless1;
    CashlessProtocol m_cashless2;
    BillProtocol m_bill;
    CoinProtocol m_coin;
    std::array<BaseProtocol *, deviceCount> m_devices;
    /// Written by the user-interface thread, read by the polling thread.
    std::array<std::atomic<bool>, deviceCount> m_deviceEnabled;

    /// Guards m_descriptor for the length of an exchange, so that it changes between two only.
    std::mutex m_lineMutex;
    int m_descriptor = -1;
    /// closePoll() wants the port closed; whoever holds the line next, or has it, does it.
    std::atomic<bool> m_closeWanted{false};
    /// Set by closePoll(): the cycle under way may not use the line any more, not even a new one.
    std::atomic<bool> m_lineBarred{false};

    /// Guards the flags of the polling thread below; both threads.
    std::mutex m_threadMutex;
    std::condition_variable m_wakeUp;
    bool m_polling = false;
    bool m_threadRunning = false;
    bool m_ending = false;
    std::thread m_thread;
};
