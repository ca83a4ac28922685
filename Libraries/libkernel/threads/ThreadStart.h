// The one place that starts threads.

#pragma once

#include "Kernel/Dispatch.h"

#include <functional>
#include <thread>

namespace Kernel {

/// Starts a thread that runs `body`, which does not throw. It is named after `purpose` and as
/// urgent as `priority` says, whatever the priority of a thread of ours that calls this; what the
/// host made less urgent starts threads that are so, too. All signals are blocked but those that a
/// thread raises itself: no handler of the host runs on it. Throws std::system_error if the system
/// refuses.
std::thread StartThread(Dispatch::ThreadPurpose purpose, Dispatch::Priority priority,
                        std::function<void()> body);

/// Ends the thread that starts others for those that are less urgent, if there is one. The next
/// less urgent one starts it again.
void EndThreadStarter();

}  // namespace Kernel
