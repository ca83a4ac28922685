#include "OCIO/ProcessorStage.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Utf.h"

#include <OpenColorIO/OpenColorIO.h>

#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
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

/// The stage of the configuration that `load` gives; any error becomes the reason.
template <class Load>
Kernel::Counted<const ProcessorStage> Create(const Load& load, const Kernel::String& source,
                                             const Kernel::String& destination,
                                             Kernel::String& reason) {
    try {
        RedirectMessages();
        if (Kernel::HasZeroByte(source) || Kernel::HasZeroByte(destination)) {
            throw std::invalid_argument("the name of a colour space has a zero byte");
        }
        const Engine::ConstConfigRcPtr config = load();
        return Kernel::MakeCounted<const EngineStage>(
            config->getProcessor(source.c_str(), destination.c_str())->getDefaultCPUProcessor());
    } catch (const std::exception& error) {
        reason = error.what();
        return nullptr;
    }
}

}  // namespace

Kernel::Counted<const ProcessorStage> ProcessorStage::CreateFromFile(
    const Kernel::String& path, const Kernel::String& source, const Kernel::String& destination,
    Kernel::String& reason) {
    const auto load = [&path] {
        Kernel::FileSystem::RefuseOtherThanFile(path);
        return Engine::Config::CreateFromFile(path.c_str());
    };
    auto stage = Create(load, source, destination, reason);
    if (!stage) {
        reason = "Cannot use the colour configuration " + path + ": " + reason;
    }
    return stage;
}

Kernel::Counted<const ProcessorStage> ProcessorStage::CreateFromText(
    const Kernel::String& text, const Kernel::String& source, const Kernel::String& destination,
    Kernel::String& reason) {
    const auto load = [&text] {
        std::istringstream stream{std::string(std::string_view(text))};
        return Engine::Config::CreateFromStream(stream);
    };
    return Create(load, source, destination, reason);
}

}  // namespace OCIO
