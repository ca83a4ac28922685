// Ending remote operations, hearing how far they are, and seeing what they send.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/Semaphore.h"
#include "Kernel/String.h"
#include "Learning/Export.h"

#include <atomic>
#include <functional>
#include <memory>

namespace Learning {

struct RemoteRequest;

/// What a remote operation is about to do.
struct RemotePhase {
    enum class Kind {
        Submitting,   // sends its request, and waits for the answer
        Accepted,     // the service works on `job`
        Waiting,      // for the time that a job takes at least
        Polling,      // asks for the state of the job, `number` of at most `count` times
        Downloading,  // fetches result `number` of `count`
    };

    Kind kind = Kind::Submitting;
    Kernel::String operation;  // as the service calls it, such as "imageEdit"
    Kernel::String job;        // empty until the service has accepted one
    int number = 0;            // counted from 1
    int count = 0;
};

/// Lets a host end operations of RemoteInference, hear of their phases, and judge their requests.
/// For the calls of a thread while a Scope of it is alive there; one object may be in force on
/// several threads. Where scopes nest, the calls obey and tell all of them.
///
/// A call that is ended returns within 100 ms, with CommunicationsFailure, whatever it is about; no
/// listener hears of it any more, unless the service has accepted a job by then, nor does the
/// callback for its progress.
///
/// Threads: any.
class LEARNING_API RemoteControl {
public:
    /// Called on the thread of the operation. What it throws is logged.
    using Listener = std::function<void(const RemotePhase&)>;

    /// Called on the thread of the operation before each request, polls and files included; says
    /// whether it is sent. If not, for which an exception, which is logged, stands too, no
    /// connection is opened, and the operation ends as if it were ended by Cancel(). Of several the
    /// innermost is asked first, and no other after one that refuses.
    using Judge = std::function<bool(const RemoteRequest&)>;

    /// Either may be empty.
    explicit RemoteControl(Listener listener = {}, Judge judge = {});
    RemoteControl(const RemoteControl&) = delete;
    RemoteControl& operator=(const RemoteControl&) = delete;
    /// No scope of it may be alive.
    ~RemoteControl();

    /// Ends the calls for which this object is in force, and those for which it will be: there is
    /// no way back.
    void Cancel() noexcept;
    bool IsCancelled() const noexcept;

    /// Puts a control in force for the calls that its thread makes while it lives. Scopes of one
    /// thread end in the reverse order of their beginning.
    class LEARNING_API Scope {
    public:
        explicit Scope(RemoteControl& control);
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
        ~Scope();

    private:
        friend class RemoteControl;
        friend class ControlInForce;

        RemoteControl& m_control;
        Scope* const m_outer;
        Scope* m_inner = nullptr;
        std::atomic<bool> m_isCancelled = false;
        Kernel::Semaphore m_ended;  // is signalled once m_isCancelled is set
    };

private:
    friend class ControlInForce;
    struct State;

    const std::unique_ptr<State> m_state;
};

}  // namespace Learning
