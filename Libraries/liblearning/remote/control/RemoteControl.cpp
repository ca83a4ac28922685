#include "Learning/RemoteControl.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/Dispatch.h"
#include "Kernel/NeverDestroyed.h"

#include "remote/control/ControlInForce.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <utility>
#include <vector>

namespace Learning {

namespace {

thread_local RemoteControl::Scope* innermost = nullptr;

/// Guards the scopes of all threads, their order included.
std::mutex& GetScopesMutex() {
    static Kernel::NeverDestroyed<std::mutex> mutex;  // calls may be under way during exit
    return *mutex;
}

}  // namespace

struct RemoteControl::State {
    Listener listener;
    Judge judge;
    std::atomic<bool> isCancelled = false;
    std::vector<Scope*> scopes;
};

RemoteControl::RemoteControl(Listener listener, Judge judge) : m_state(std::make_unique<State>()) {
    m_state->listener = std::move(listener);
    m_state->judge = std::move(judge);
}

RemoteControl::~RemoteControl() = default;

void RemoteControl::Cancel() noexcept {
    const std::lock_guard lock(GetScopesMutex());
    m_state->isCancelled = true;
    for (Scope* scope : m_state->scopes) {
        for (; scope != nullptr; scope = scope->m_inner) {
            scope->m_isCancelled = true;
            scope->m_ended.Signal();
        }
    }
}

bool RemoteControl::IsCancelled() const noexcept {
    return m_state->isCancelled;
}

RemoteControl::Scope::Scope(RemoteControl& control) : m_control(control), m_outer(innermost) {
    const std::lock_guard lock(GetScopesMutex());
    control.m_state->scopes.push_back(this);
    m_isCancelled = control.m_state->isCancelled || (m_outer != nullptr && m_outer->m_isCancelled);
    if (m_isCancelled) {
        m_ended.Signal();
    }
    if (m_outer != nullptr) {
        m_outer->m_inner = this;
    }
    innermost = this;
}

RemoteControl::Scope::~Scope() {
    const std::lock_guard lock(GetScopesMutex());
    std::erase(m_control.m_state->scopes, this);
    if (m_outer != nullptr) {
        m_outer->m_inner = nullptr;
    }
    innermost = m_outer;
}

Kernel::AbortFlag ControlInForce::GetFlag() noexcept {
    return innermost == nullptr ? nullptr : &innermost->m_isCancelled;
}

void ControlInForce::Wait(std::chrono::milliseconds duration) {
    Kernel::ThrowIfAborted(GetFlag());
    if (innermost == nullptr) {
        Kernel::Dispatch::Sleep(duration);
    } else if (innermost->m_ended.WaitFor(duration)) {
        throw Kernel::Aborted();
    }
}

template <class Question>
bool ControlInForce::Try(const Question& ask) noexcept {
    try {
        return ask();
    } catch (const std::exception& error) {
        Kernel::Log::Write("A listener of a remote operation failed: %1\n", error.what());
    } catch (...) {
        Kernel::Log::Write("A listener of a remote operation failed.\n");
    }
    return false;
}

void ControlInForce::Tell(const RemotePhase& phase) noexcept {
    // A job has to be paid for as soon as it is accepted.
    const bool isAlways = phase.kind == RemotePhase::Kind::Accepted;
    for (const auto* scope = innermost; scope != nullptr && (isAlways || !Kernel::IsSet(GetFlag()));
         scope = scope->m_outer) {
        if (const RemoteControl::Listener& listener = scope->m_control.m_state->listener) {
            Try([&] {
                listener(phase);
                return true;
            });
        }
    }
}

void ControlInForce::Ask(const RemoteRequest& request) {
    Kernel::ThrowIfAborted(GetFlag());
    for (const auto* scope = innermost; scope != nullptr; scope = scope->m_outer) {
        const RemoteControl::Judge& judge = scope->m_control.m_state->judge;
        if (judge && !Try([&] { return judge(request); })) {
            throw Kernel::Aborted();
        }
    }
}

}  // namespace Learning
