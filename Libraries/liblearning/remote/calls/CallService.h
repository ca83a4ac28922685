// Where the failures of remote operations become results.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/Utf.h"
#include "Learning/RemoteResult.h"

#include "remote/control/ControlInForce.h"

#include <exception>
#include <utility>

namespace Learning {

/// Ends an operation with a result: the service has answered otherwise than with what it was asked
/// for.
class Refusal : public std::exception {
public:
    explicit Refusal(RemoteResult result) noexcept : m_result(std::move(result)) {}
    explicit Refusal(RemoteResult::Code code) : m_result(code, {}) {}

    const RemoteResult& GetResult() const noexcept { return m_result; }
    const char* what() const noexcept override { return "the service refuses the request"; }

private:
    RemoteResult m_result;
};

/// Calls `operation`, which returns a RemoteResult, and returns that, or that of a Refusal.
/// Whatever else it throws has kept it from hearing the service's answer, so that is
/// CommunicationsFailure; so is an operation that is ended before it begins.
template <class Operation>
RemoteResult CallService(const Operation& operation) noexcept {
    try {
        try {
            Kernel::ThrowIfAborted(ControlInForce::GetFlag());
            return operation();
        } catch (const Refusal& refusal) {
            return refusal.GetResult();
        } catch (const Kernel::Aborted&) {
            // The host knows.
        } catch (const std::exception& error) {
            // The result tells the user, and nobody what the reason is.
            if (!Kernel::IsSet(ControlInForce::GetFlag())) {
                Kernel::Log::Write("[Remote inference] %1\n", Kernel::MakePrintable(error.what()));
            }
        }
    } catch (...) {
        // Of any type; or there is no memory to tell of it.
    }
    return {RemoteResult::CommunicationsFailure, {}};
}

}  // namespace Learning
