#include "Kernel/Broadcaster.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/Utf.h"

#include <cassert>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <utility>

namespace Kernel {

namespace {

/// How many calls of listeners the thread is in.
thread_local int callDepth = 0;

void Call(const Broadcaster::Listener& listener, const Notification& notification) noexcept {
    ++callDepth;
    try {
        listener(notification);
    } catch (const std::exception& error) {  // others are to hear, and the operation goes on
        Log::Write("A listener failed: %1\n", MakePrintable(error.what()));
    } catch (...) {
        Log::Write("A listener failed.\n");
    }
    --callDepth;
}

}  // namespace

Notification::~Notification() = default;

struct Broadcaster::Listeners {
    struct Entry {
        Listener listener;
        int calls = 0;
        bool isEnded = false;
        bool isAwaited = false;  // by the one that has ended it
    };
    using Entries = std::map<std::uint64_t, Entry>;

    std::mutex mutex;
    std::condition_variable callsEnded;  // of a listener that is awaited
    std::uint64_t next = 0;
    Entries entries;  // by number, which is the order of registration

    void PostTo(Entries::iterator entry, const Notification& notification,
                std::unique_lock<std::mutex>& lock);
    void End(std::uint64_t number);
};

/// Calls one listener. Afterwards `entry` may be gone.
void Broadcaster::Listeners::PostTo(Entries::iterator entry, const Notification& notification,
                                    std::unique_lock<std::mutex>& lock) {
    ++entry->second.calls;
    lock.unlock();
    Call(entry->second.listener, notification);
    lock.lock();
    if (--entry->second.calls > 0 || !entry->second.isEnded) {
        return;
    }
    if (entry->second.isAwaited) {
        callsEnded.notify_all();
        return;
    }
    {
        const auto dead = entries.extract(entry);
        lock.unlock();
    }  // what the listener has captured dies here, and may take locks
    lock.lock();
}

void Broadcaster::Listeners::End(std::uint64_t number) {
    std::unique_lock lock(mutex);
    const auto entry = entries.find(number);
    entry->second.isEnded = true;
    if (callDepth == 0) {
        entry->second.isAwaited = true;
        callsEnded.wait(lock, [entry] { return entry->second.calls == 0; });
    } else if (entry->second.calls > 0) {
        return;
    }
    const auto dead = entries.extract(entry);
    lock.unlock();
}

Broadcaster::Broadcaster() : m_listeners(std::make_shared<Listeners>()) {}

Broadcaster::~Broadcaster() = default;

Broadcaster::Registration Broadcaster::Register(Listener listener) {
    assert(listener);
    const std::lock_guard lock(m_listeners->mutex);
    const std::uint64_t number = m_listeners->next++;
    m_listeners->entries.try_emplace(number, Listeners::Entry{.listener = std::move(listener)});
    return {m_listeners, number};
}

// By value: a listener may end the pointer that the caller has.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void Broadcaster::Post(Counted<const Notification> notification) const noexcept {
    const std::shared_ptr<Listeners> listeners = m_listeners;  // one may end the broadcaster
    std::unique_lock lock(listeners->mutex);
    const std::uint64_t end = listeners->next;
    for (std::uint64_t number = 0; number < end;) {
        const auto entry = listeners->entries.lower_bound(number);
        if (entry == listeners->entries.end() || entry->first >= end) {
            return;
        }
        number = entry->first + 1;
        if (!entry->second.isEnded) {
            listeners->PostTo(entry, *notification, lock);
        }
    }
}

Broadcaster::Registration::Registration(std::shared_ptr<Listeners> listeners,
                                        std::uint64_t number) noexcept
    : m_listeners(std::move(listeners)), m_number(number) {}

Broadcaster::Registration::Registration(Registration&& other) noexcept
    : m_listeners(std::move(other.m_listeners)), m_number(other.m_number) {}

Broadcaster::Registration& Broadcaster::Registration::operator=(Registration&& other) noexcept {
    if (this != &other) {
        End();
        m_listeners = std::move(other.m_listeners);
        m_number = other.m_number;
    }
    return *this;
}

Broadcaster::Registration::~Registration() {
    End();
}

void Broadcaster::Registration::End() noexcept {
    if (const std::shared_ptr<Listeners> listeners = std::move(m_listeners)) {
        listeners->End(m_number);
    }
}

}  // namespace Kernel
