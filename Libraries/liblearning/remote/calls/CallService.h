// Where the failures of remote operations become results.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/Utf.h"
#include "Learning/RemoteResult.h"

#include "remote/control/ControlInForce.h"

namespace Learning {

/// Calls `operation`, which returns a RemoteResult, and returns that. Whatever it throws has kept
/// it from hearing the service's answer, so that is CommunicationsFailure; so is an operation that
/// is ended before it begins.
template <class Operation>
RemoteResult CallService(const Operation& operation) noexcept {
    try {
        try {
            Kernel::ThrowIfAborted(ControlInForce::GetFlag());
            return operation();
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
