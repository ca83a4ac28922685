// Diagnostic output: the trace, for developers, and the log, for operators.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Export.h"
#include "Kernel/Format.h"

#include <span>
#include <string_view>

namespace Kernel {

/// The receiver of diagnostic text. Calls are serialised by a lock, so a sink must not wait for
/// another thread, which may be waiting for that lock. Exceptions are ignored: a failure to write
/// diagnostics fails no operation.
class KERNEL_API DiagnosticSink : public Countable {
public:
    /// Writes one message, which contains its line ending.
    virtual void Write(std::string_view text) = 0;
    virtual void Flush() {}
};

/// A channel of diagnostic text with a replaceable sink; used as Trace or Log.
///
/// Threads: any. Once SetSink() has returned, the previous sink is no longer called.
template <class Tag>
class DiagnosticChannel {
public:
    /// Replaces the sink and returns the previous one. Null discards all messages.
    static Counted<DiagnosticSink> SetSink(Counted<DiagnosticSink> sink);

    /// Writes `pattern` with its placeholders replaced as by Format(); without a sink does nothing.
    template <class... Arguments>
    static void Write(std::string_view pattern, const Arguments&... arguments) noexcept {
        if constexpr (sizeof...(Arguments) == 0) {
            WriteList(pattern, {});
        } else {
            const FormatArgument list[] = {FormatArgument(arguments)...};
            WriteList(pattern, list);
        }
    }

    static void Flush() noexcept;

private:
    static void WriteList(std::string_view pattern,
                          std::span<const FormatArgument> arguments) noexcept;
};

struct TraceTag;
struct LogTag;
KERNEL_TEMPLATE(DiagnosticChannel<TraceTag>);
KERNEL_TEMPLATE(DiagnosticChannel<LogTag>);

/// For developers: states, timings and possibly secrets such as access tokens. Has no sink at
/// first, so that no secret is written anywhere by default.
using Trace = DiagnosticChannel<TraceTag>;

/// For operators: failures that an operation reports in no other way. Written to the standard error
/// stream until another sink is set.
using Log = DiagnosticChannel<LogTag>;

}  // namespace Kernel
