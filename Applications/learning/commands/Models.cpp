#include "commands/Commands.h"
#include "json/Json.h"
#include "networks/ModelNames.h"
#include "networks/NetworkFile.h"
#include "networks/Signature.h"
#include "terminal/Quantities.h"

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <ostream>

namespace LearningApp {

namespace {

using Learning::ModelCache;
using Mode = ModelCache::InferenceMode;

/// What stands where a network is sought.
struct Entry {
    const char* type;
    const char* mode;
    std::string package;
    NetworkFile file;
    const char* device;  // null: none
};

void PrintLine(std::ostream& out, const char* type, const char* mode, std::string_view package,
               const char* isInstalled, const char* device, std::string_view size,
               std::string_view date, std::string_view file) {
    out << std::left << std::setw(21) << type << std::setw(13) << mode << std::setw(25) << package
        << std::setw(11) << isInstalled << std::setw(9) << device << std::setw(9) << size
        << std::setw(12) << date << file << '\n';
}

/// For the column INSTALLED.
const char* DescribeState(NetworkFile::State state) {
    using State = NetworkFile::State;
    return state == State::Installed ? "yes" : state == State::Missing ? "no" : GetStateName(state);
}

void PrintTable(std::ostream& out, const std::vector<Entry>& entries) {
    PrintLine(out, "TYPE", "MODE", "PACKAGE", "INSTALLED", "DEVICE", "SIZE", "DATE", "FILE");
    for (const Entry& entry : entries) {
        const NetworkFile& file = entry.file;
        const bool isFile = file.state == NetworkFile::State::Installed;
        PrintLine(out, entry.type, entry.mode, entry.package, DescribeState(file.state),
                  isFile ? (entry.device != nullptr ? entry.device : "none") : "-",
                  isFile ? FormatSize(static_cast<double>(file.size)) : "-",
                  isFile ? FormatDate(file.modified) : "-", file.path);
    }
}

std::string EntryToJson(const Entry& entry) {
    const NetworkFile& file = entry.file;
    const bool isFile = file.state == NetworkFile::State::Installed;
    return MakeJsonObject(
        {{"type", QuoteJson(entry.type)},
         {"mode", QuoteJson(entry.mode)},
         {"package", QuoteJson(entry.package)},
         {"state", QuoteJson(GetStateName(file.state))},
         {"device", isFile && entry.device != nullptr ? QuoteJson(entry.device) : "null"},
         {"bytes", isFile ? std::to_string(file.size) : "null"},
         {"modified", isFile ? QuoteJson(FormatTime(file.modified)) : "null"},
         {"file", QuoteJson(file.path)}});
}

/// What the network of `type` runs on; null if it can't be loaded. Opens it to find out, but not in
/// the mode CPU, where it can't be anything else.
const char* FindDevice(ModelType type) {
    ModelCache& cache = ModelCache::GetInstance();
    if (cache.GetInferenceMode() == Mode::CPU) {
        return "CPU";
    }
    const auto model = cache.GetModel(type);
    return model ? GetDeviceName(model->GetDevice().kind) : nullptr;
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

Entry Examine(const NamedType& known, Mode mode, const char* modeName) {
    const ScopedMode scope(mode);
    ModelCache& cache = ModelCache::GetInstance();
    Entry entry{.type = known.name,
                .mode = modeName,
                .package = cache.ModelTypeToPackageName(known.type).c_str(),
                .file = ExamineFile(cache.ModelTypeToModelPaths(known.type).front().c_str()),
                .device = nullptr};
    if (entry.file.state == NetworkFile::State::Installed) {
        entry.device = FindDevice(known.type);
    }
    return entry;
}

}  // namespace

void ListModels(const Host& host, const ListOptions& options) {
    const Mode accelerated =
        host.GetSettings().mode == Mode::MaxEfficiency ? Mode::MaxEfficiency : Mode::MaxPerformance;
    std::vector<Entry> entries;
    for (const NamedType& known : NamedTypes) {
        const bool isOneForAll =
            FindPackage(known.type, Mode::CPU) == FindPackage(known.type, accelerated);
        entries.push_back(Examine(known, Mode::CPU, isOneForAll ? "all" : "cpu"));
        if (!isOneForAll) {
            entries.push_back(Examine(known, accelerated, "accelerated"));
        }
    }
    if (!options.isJson) {
        PrintTable(host.GetOut(), entries);
        return;
    }
    std::vector<std::string> elements;
    std::ranges::transform(entries, std::back_inserter(elements), EntryToJson);
    host.GetOut() << MakeJsonArray(elements) << '\n';
}

}  // namespace LearningApp
