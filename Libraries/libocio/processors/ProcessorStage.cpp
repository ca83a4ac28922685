#include "OCIO/ProcessorStage.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/Utf.h"
#include "OCIO/HostProcessor.h"

#include "processors/ConfigCache.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace OCIO {

namespace {

namespace Engine = OCIO_NAMESPACE;

class EngineStage final : public ProcessorStage {
public:
    explicit EngineStage(Engine::ConstCPUProcessorRcPtr processor)
        : m_processor(std::move(processor)) {}

    void Apply(float* rgba, std::size_t count) const override {
        if (count == 0) {
            return;  // OpenColorIO takes it for a mistake
        }
        Engine::PackedImageDesc pixels(rgba, static_cast<long>(count), 1, 4);
        m_processor->apply(pixels);
    }

private:
    Engine::ConstCPUProcessorRcPtr m_processor;
};

/// OpenColorIO would write its warnings to the standard error stream.
void RedirectMessages() {
    static const bool isDone = [] {
        Engine::SetLoggingFunction([](const char* message) { Kernel::Log::Write("%1", message); });
        return true;
    }();
    static_cast<void>(isDone);
}

/// The stage of the processor that `find` gives; any error becomes the reason.
template <class Find>
Kernel::Counted<const ProcessorStage> Create(const Find& find, Kernel::String& reason) {
    try {
        RedirectMessages();
        const Engine::ConstProcessorRcPtr processor = find();
        return Kernel::MakeCounted<const EngineStage>(processor->getDefaultCPUProcessor());
    } catch (const std::exception& error) {
        reason = error.what();
        return nullptr;
    }
}

Engine::ConstProcessorRcPtr FindProcessor(const Engine::ConstConfigRcPtr& config,
                                          const Kernel::String& source,
                                          const Kernel::String& destination) {
    if (Kernel::HasZeroByte(source) || Kernel::HasZeroByte(destination)) {
        throw std::invalid_argument("the name of a colour space has a zero byte");
    }
    return config->getProcessor(source.c_str(), destination.c_str());
}

}  // namespace

Kernel::Counted<const ProcessorStage> ProcessorStage::CreateFromFile(
    const Kernel::String& path, const Kernel::String& source, const Kernel::String& destination,
    Kernel::String& reason) {
    auto stage =
        Create([&] { return FindProcessor(FindConfigOfFile(path), source, destination); }, reason);
    if (!stage) {
        reason = "Cannot use the colour configuration " + path + ": " + reason;
    }
    return stage;
}

Kernel::Counted<const ProcessorStage> ProcessorStage::CreateFromText(
    const Kernel::String& text, const Kernel::String& source, const Kernel::String& destination,
    Kernel::String& reason) {
    return Create([&] { return FindProcessor(FindConfigOfText(text), source, destination); },
                  reason);
}

Kernel::Counted<const ProcessorStage> CreateFromProcessor(
    const Engine::ConstProcessorRcPtr& processor, Kernel::String& reason) {
    const auto get = [&processor] {
        if (!processor) {
            throw std::invalid_argument("there is no processor");
        }
        return processor;
    };
    return Create(get, reason);
}

}  // namespace OCIO
