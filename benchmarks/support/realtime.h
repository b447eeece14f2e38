#pragma once

#include <thread>

/// Real-time scheduling of this program's threads.
namespace realtime {

/// Asks for SCHED_FIFO for a thread; true if it is permitted.
bool give(std::thread *thread, int priority);
/// Takes the permission away from the calling thread and those that it starts from now on.
void forbid();

} // namespace realtime
