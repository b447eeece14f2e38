// The exchange on a line of which every answer comes from the fuzzer: the system calls that it
// makes are replaced here, so that no time passes and any result can come back.
#include "bytesource.h"

#include "mdbcontroller.h"

#include <poll.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace {

/// Set while an exchange may go on.
ByteSource *line = nullptr;

} // namespace

extern "C" {

int usleep(useconds_t)
{
    return 0;
}
int tcflush(int, int)
{
    return 0;
}
int tcsetattr(int, int, const termios *)
{
    errno = EIO;
    return line->below(16) == 15 ? -1 : 0;
}
int tcgetattr(int, termios *)
{
    return -1;
}

int poll(pollfd *fds, nfds_t count, int timeout)
{
    if (!line)
        return static_cast<int>(syscall(SYS_poll, fds, count, timeout));
    const int kind = line->below(8);
    fds->revents = kind == 7 ? POLLNVAL : kind >= 2 ? POLLIN : 0;
    return kind == 6 ? -1 : kind >= 2 ? 1 : 0;
}

ssize_t read(int fd, void *buffer, size_t size)
{
    if (!line)
        return syscall(SYS_read, fd, buffer, size);
    const int wanted = line->below(44) - 2;
    if (wanted < 0)
        return -1;
    const auto count = std::min(static_cast<size_t>(wanted), size);
    const QByteArray bytes = line->bytes(static_cast<int>(count));
    std::memcpy(buffer, bytes.constData(), count);
    return static_cast<ssize_t>(count);
}

ssize_t write(int fd, const void *buffer, size_t size)
{
    if (!line || fd <= STDERR_FILENO)
        return syscall(SYS_write, fd, buffer, size);
    return line->below(16) == 15 ? -1 : static_cast<ssize_t>(size);
}

} // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    ByteSource source(data, size);
    line = &source;
    MdbController controller(nullptr);
    controller.mdbSerialInit("/dev/null");
    while (!source.empty()) {
        const QByteArray command = source.bytes(source.below(48));
        const std::unique_ptr<char[]> reply(new char[blockCapacity]());
        const int result =
            controller.mdbWriteData(command.constData(), command.size(), reply.get());
        require(result >= -4 && result != 0 && result != -1 && result <= blockCapacity);
    }
    controller.closePoll();
    line = nullptr;
    return 0;
}
