// Telling whoever has registered that something has happened.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Export.h"
#include "Kernel/Notification.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace Kernel {

/// Posts notifications to listeners, on the thread that posts and in the order in which they
/// registered. No lock is held meanwhile: a listener may register, end registrations and post.
///
/// Registrations belong to the object where they were made. They are neither copied nor moved: a
/// copy starts without listeners, and an object that is assigned to or moved from keeps its own.
///
/// Threads: any. Notifications that are posted on several threads reach a listener at the same
/// time.
class KERNEL_API Broadcaster {
public:
    using Listener = std::function<void(const Notification&)>;
    class Registration;

    Broadcaster();
    Broadcaster(const Broadcaster& /*other*/) : Broadcaster() {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is assigned
    Broadcaster& operator=(const Broadcaster& /*other*/) noexcept { return *this; }
    virtual ~Broadcaster();

    /// Has `listener`, which must not be empty, called with what is posted from now on.
    [[nodiscard]] Registration Register(Listener listener);

    /// Calls the listeners that are registered now and still are when their turn comes. What one
    /// throws is logged, and the others are called. `notification` must not be null; a listener
    /// that keeps it shares it.
    void Post(Counted<const Notification> notification) const noexcept;

private:
    struct Listeners;

    std::shared_ptr<Listeners> m_listeners;
};

/// Keeps a listener registered until it is destroyed; may outlive the broadcaster.
///
/// Ending a registration waits for calls of its listener that run on other threads: afterwards the
/// listener is gone, and so is what it has captured. The thread that ends it must therefore hold
/// nothing that the listener waits for. Inside a call of a listener, of this or of another
/// broadcaster, ending one does not wait, since two listeners that end each other would wait
/// for ever; the listener then goes when its last call returns, and none begins.
///
/// Threads: one at a time.
class KERNEL_API Broadcaster::Registration {
public:
    /// Of nothing.
    Registration() noexcept = default;
    Registration(Registration&& other) noexcept;
    /// Ends the registration that it had.
    Registration& operator=(Registration&& other) noexcept;
    ~Registration();

    void End() noexcept;

private:
    friend class Broadcaster;

    Registration(std::shared_ptr<Listeners> listeners, std::uint64_t number) noexcept;

    std::shared_ptr<Listeners> m_listeners;  // null: of nothing
    std::uint64_t m_number = 0;
};

}  // namespace Kernel
