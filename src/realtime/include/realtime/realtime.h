// Real-time scheduling for one thread, so that a busy machine does not delay it.
//
// Tried in this order, until one is granted:
//
//   directly      where the process may do so itself (RLIMIT_RTPRIO, or the right to)
//   RealtimeKit   the service of the system bus, outside a sandbox
//   the portal    the sandbox's way to the same service
//   nice          -11 through either of them
//
// Otherwise the thread stays as it is. One line in the log states the result. A thread that has
// real-time priority and computes for 100 ms without ever waiting loses it and is aborted with a
// crash report, so that a fault in it cannot freeze the machine.
//
// Lifecycle: request(), then withdraw() before the thread ends.
#pragma once

#include <sys/types.h>

namespace realtime {

// Requests it in the background for one thread of this process. Returns at once; the result may
// take seconds if a service does not answer. A second call before withdraw() is ignored.
//   thread   the kernel's number of the thread (gettid)
// Thread: any. Starts a thread; if none can be started, that is logged and nothing is requested.
void request(pid_t thread);

// Ends an unanswered request and forgets the thread. Waits for the background thread, which ends at
// once. Must not run at the same time as request().
void withdraw();

}  // namespace realtime
