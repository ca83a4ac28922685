#include "Kernel/Format.h"

#include "commands/Commands.h"
#include "networks/ModelNames.h"

#include <iomanip>
#include <ostream>

namespace LearningApp {

namespace {

using Learning::ModelCache;
using Mode = ModelCache::InferenceMode;

void PrintLine(std::ostream& out, std::string_view type, std::string_view mode,
               std::string_view package, std::string_view isInstalled, std::string_view device,
               std::string_view file) {
    out << std::left << std::setw(21) << type << std::setw(13) << mode << std::setw(25) << package
        << std::setw(11) << isInstalled << std::setw(11) << device << file << '\n';
}

/// What the network of `type` runs on. Opens it to find out, but not in the mode CPU, where it
/// can't be anything else.
const char* FindDevice(ModelType type) {
    using Kind = Learning::Device::Kind;
    ModelCache& cache = ModelCache::GetInstance();
    if (!cache.IsModelAvailable(type)) {
        return "-";
    }
    if (cache.GetInferenceMode() == Mode::CPU) {
        return "CPU";
    }
    const auto model = cache.GetModel(type);
    if (!model) {
        return "none";  // it can't be loaded
    }
    const Kind kind = model->GetDevice().kind;
    return kind == Kind::GPU   ? "GPU"
           : kind == Kind::NPU ? "NPU"
           : kind == Kind::CPU ? "CPU"
                               : "unknown";
}

/// The mode of the cache, for as long as this object lives.
class ScopedMode {
public:
    explicit ScopedMode(Mode mode) { ModelCache::GetInstance().SetInferenceMode(mode); }
    ScopedMode(const ScopedMode&) = delete;
    ScopedMode& operator=(const ScopedMode&) = delete;
    ~ScopedMode() { ModelCache::GetInstance().SetInferenceMode(m_previous); }

private:
    const Mode m_previous = ModelCache::GetInstance().GetInferenceMode();
};

Kernel::String FindPackage(ModelType type, Mode mode) {
    const ScopedMode scope(mode);
    return ModelCache::GetInstance().ModelTypeToPackageName(type);
}

}  // namespace

void ListModels(const Host& host) {
    const Mode accelerated =
        host.GetSettings().mode == Mode::MaxEfficiency ? Mode::MaxEfficiency : Mode::MaxPerformance;
    ModelCache& cache = ModelCache::GetInstance();
    std::ostream& out = host.GetOut();
    PrintLine(out, "TYPE", "MODE", "PACKAGE", "INSTALLED", "DEVICE", "FILE");
    for (const NamedType& known : NamedTypes) {
        const auto print = [&](Mode mode, const char* name) {
            const ScopedMode scope(mode);
            PrintLine(out, known.name, name, cache.ModelTypeToPackageName(known.type),
                      cache.IsModelAvailable(known.type) ? "yes" : "no", FindDevice(known.type),
                      cache.ModelTypeToModelPaths(known.type).front());
        };
        const bool isOneForAll =
            FindPackage(known.type, Mode::CPU) == FindPackage(known.type, accelerated);
        print(Mode::CPU, isOneForAll ? "all" : "cpu");
        if (!isOneForAll) {
            print(accelerated, "accelerated");
        }
    }
}

}  // namespace LearningApp
