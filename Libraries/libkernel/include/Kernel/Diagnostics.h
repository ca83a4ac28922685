// Diagnostic output: the trace, for developers, and the log, for whoever runs the program.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Export.h"
#include "Kernel/Format.h"

#include <span>
#include <string_view>

namespace Kernel {

/// Where diagnostic text goes. Never called by two threads at once, so it must not wait for another
/// thread, which may be waiting to write. What it throws is dropped: no operation fails because its
/// diagnostics do.
class KERNEL_API DiagnosticSink : public Countable {
public:
    /// Takes one message, which brings its own line ending.
    virtual void Write(std::string_view text) = 0;
    virtual void Flush() {}
};

/// One stream of diagnostic text with an exchangeable sink; used as Trace or Log.
///
/// Threads: any. Once SetSink() has returned, the previous sink is no longer called.
template <class Tag>
class DiagnosticChannel {
public:
    /// Replaces the sink and returns the previous one. Null drops everything.
    static Counted<DiagnosticSink> SetSink(Counted<DiagnosticSink> sink);

    /// Writes `pattern` with its placeholders filled as Format() fills them; while there is no
    /// sink, formats nothing.
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

extern template class KERNEL_API DiagnosticChannel<struct TraceTag>;
extern template class KERNEL_API DiagnosticChannel<struct LogTag>;

/// For developers: states, timings and, on occasion, secrets such as access tokens. Silent until a
/// sink is set, so that none of it reaches a disk by itself.
using Trace = DiagnosticChannel<TraceTag>;

/// For whoever runs the program: failures that an operation reports in no other way. Goes to the
/// standard error stream until another sink is set.
using Log = DiagnosticChannel<LogTag>;

}  // namespace Kernel
