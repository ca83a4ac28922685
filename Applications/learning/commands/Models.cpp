#include "Kernel/Format.h"

#include "commands/Commands.h"
#include "networks/ModelNames.h"

#include <iomanip>
#include <ostream>

namespace LearningApp {

namespace {

using Learning::ModelCache;

void PrintLine(std::ostream& out, std::string_view type, std::string_view mode,
               std::string_view package, std::string_view isInstalled, std::string_view file) {
    out << std::left << std::setw(21) << type << std::setw(13) << mode << std::setw(25) << package
        << std::setw(11) << isInstalled << file << '\n';
}

}  // namespace

void ListModels(const Host& host) {
    ModelCache& cache = ModelCache::GetInstance();
    std::ostream& out = host.GetOut();
    PrintLine(out, "TYPE", "MODE", "PACKAGE", "INSTALLED", "FILE");
    for (const NamedType& known : NamedTypes) {
        cache.SetInferenceMode(ModelCache::InferenceMode::MaxEfficiency);
        const Kernel::String accelerated = cache.ModelTypeToPackageName(known.type);
        cache.SetInferenceMode(ModelCache::InferenceMode::CPU);
        const bool isOneForAll = cache.ModelTypeToPackageName(known.type) == accelerated;
        const auto print = [&](const char* mode) {
            PrintLine(out, known.name, mode, cache.ModelTypeToPackageName(known.type),
                      cache.IsModelAvailable(known.type) ? "yes" : "no",
                      cache.ModelTypeToModelPaths(known.type).front());
        };
        print(isOneForAll ? "all" : "cpu");
        if (!isOneForAll) {
            cache.SetInferenceMode(ModelCache::InferenceMode::MaxEfficiency);
            print("accelerated");
        }
    }
}

}  // namespace LearningApp
