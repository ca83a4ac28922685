#include "Kernel/Diagnostics.h"

#include "Kernel/CriticalSection.h"
#include "Kernel/NeverDestroyed.h"

#include <iostream>
#include <type_traits>
#include <utility>

namespace Kernel {

namespace {

class StandardErrorSink : public DiagnosticSink {
public:
    void Write(std::string_view text) override { std::cerr << text; }
    void Flush() override { std::cerr.flush(); }
};

struct State {
    explicit State(Counted<DiagnosticSink> first) : sink(std::move(first)) {}

    CriticalSection lock;
    Counted<DiagnosticSink> sink;
};

template <class Tag>
Counted<DiagnosticSink> MakeFirstSink() {
    if constexpr (std::is_same_v<Tag, LogTag>) {
        return MakeCounted<StandardErrorSink>();
    }
    return nullptr;
}

template <class Tag>
State& GetState() {
    // Destructors of other libraries' singletons may log.
    static NeverDestroyed<State> state(MakeFirstSink<Tag>());
    return *state;
}

/// Calls `use` with the sink, if there is one, under the lock; exceptions are ignored.
template <class Tag, class Use>
void WithSink(Use use) noexcept {
    try {
        State& state = GetState<Tag>();
        const ScopedLock lock(state.lock);
        if (const Counted<DiagnosticSink> sink = state.sink) {
            use(*sink);
        }
    } catch (...) {
        // Diagnostics fail no operation, as DiagnosticSink says.
    }
}

}  // namespace

template <class Tag>
Counted<DiagnosticSink> DiagnosticChannel<Tag>::SetSink(Counted<DiagnosticSink> sink) {
    State& state = GetState<Tag>();
    const ScopedLock lock(state.lock);
    std::swap(state.sink, sink);
    return sink;
}

template <class Tag>
void DiagnosticChannel<Tag>::WriteList(std::string_view pattern,
                                       std::span<const FormatArgument> arguments) noexcept {
    WithSink<Tag>([&](DiagnosticSink& sink) { sink.Write(FormatList(pattern, arguments)); });
}

template <class Tag>
void DiagnosticChannel<Tag>::Flush() noexcept {
    WithSink<Tag>([](DiagnosticSink& sink) { sink.Flush(); });
}

ORVANTIS_INSTANTIATE(DiagnosticChannel<TraceTag>);
ORVANTIS_INSTANTIATE(DiagnosticChannel<LogTag>);

}  // namespace Kernel
