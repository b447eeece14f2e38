#include "support/acknowledgements.h"

#include "support/clock.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <map>
#include <mutex>

namespace {

struct Written
{
    std::mutex mutex;
    std::map<dev_t, std::vector<qint64>> timesNs;
};

/// Never destroyed: a bus thread may outlive the static objects.
Written &written()
{
    static auto *const instance = new Written;
    return *instance;
}

void note(int descriptor, qint64 ns)
{
    struct stat file
    {
    };
    if (fstat(descriptor, &file) != 0 || !S_ISCHR(file.st_mode))
        return;
    const std::lock_guard<std::mutex> guard(written().mutex);
    written().timesNs[file.st_rdev].push_back(ns);
}

} // namespace

/// Takes the place of the C library's for what is linked into this program.
extern "C" ssize_t write(int descriptor, const void *bytes, size_t count)
{
    const bool isAck = count == 1 && *static_cast<const char *>(bytes) == 0;
    const qint64 ns = isAck ? bench::clockNs() : 0;
    const ssize_t result = syscall(SYS_write, descriptor, bytes, count);
    if (isAck)
        note(descriptor, ns);
    return result;
}

std::vector<qint64> acknowledgements::writtenTo(const QByteArray &path)
{
    struct stat file
    {
    };
    if (stat(path.constData(), &file) != 0)
        return {};
    const std::lock_guard<std::mutex> guard(written().mutex);
    return written().timesNs[file.st_rdev];
}
