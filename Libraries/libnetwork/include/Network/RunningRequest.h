// A request that runs on a thread of its own.

#pragma once

#include "Kernel/Counted.h"
#include "Network/Export.h"

namespace Network::Http {

/// The caller's view of an asynchronous request. The request does not need it: it runs to its end
/// when nothing refers to this object any more.
///
/// Threads: any.
class NETWORK_API RunningRequest : public Kernel::Countable {
public:
    /// Ends the request: unless its response is complete, its failure handler is called within
    /// 100 ms with FailureReason::Cancelled, or when a handler, source or sink that is running has
    /// returned. Returns at once.
    virtual void Cancel() noexcept = 0;

    /// Whether Cancel() has been called: for completion handlers that take long themselves.
    virtual bool IsCancelled() const noexcept = 0;

    /// Waits until the completion handler has returned. On the thread of the request itself, which
    /// is that of its handlers, returns at once.
    virtual void Wait() const = 0;
};

}  // namespace Network::Http
