// What surrounds an operation that makes pictures.

#pragma once

#include "remote/calls/InferenceCallScope.h"
#include "remote/progress/ProgressSession.h"

namespace Learning {

/// Announces an operation and reports its progress as long as this object lives. The reports have
/// ended before the trace and the listeners hear of the end.
struct CallFrame {
    CallFrame(const Kernel::Broadcaster& listeners, const char* name, int expected,
              ProgressCallback callback, void* context) noexcept
        : scope(listeners, name), progress(expected, callback, context) {}

    const InferenceCallScope scope;
    const ProgressSession progress;
};

}  // namespace Learning
