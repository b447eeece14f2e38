#include "support/realtime.h"

#include <linux/capability.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

bool realtime::give(std::thread *thread, int priority)
{
    rlimit limit{};
    getrlimit(RLIMIT_RTPRIO, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_RTPRIO, &limit);
    sched_param parameters{};
    parameters.sched_priority = priority;
    return pthread_setschedparam(thread->native_handle(), SCHED_FIFO, &parameters) == 0;
}

void realtime::forbid()
{
    rlimit limit{};
    getrlimit(RLIMIT_RTPRIO, &limit);
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_RTPRIO, &limit);
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> sets{};
    syscall(SYS_capget, &header, sets.data());
    sets[CAP_TO_INDEX(CAP_SYS_NICE)].effective &= ~CAP_TO_MASK(CAP_SYS_NICE);
    syscall(SYS_capset, &header, sets.data());
}
