#include "Kernel/Format.h"
#include "Kernel/Utf.h"

#include "commands/Commands.h"
#include "failures/Failure.h"
#include "json/Json.h"
#include "networks/ModelNames.h"
#include "networks/NetworkFile.h"
#include "networks/Signature.h"
#include "terminal/Quantities.h"

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <ostream>
#include <string_view>
#include <utility>

namespace LearningApp {

namespace {

using Learning::ModelInfo;
using Learning::ModelValue;

/// The network that `name` means: a file of that name comes before an installed network, and that
/// before a folder.
Network Open(const Host& host, const std::string& name) {
    const std::vector<NamedType> types = FindModels(name);
    const NetworkFile::State state = ExamineFile(name).state;
    const bool isFolderOfThatName = state == NetworkFile::State::Folder && !types.empty();
    if (state != NetworkFile::State::Missing && !isFolderOfThatName) {
        return host.OpenNetwork(name);
    }
    if (types.empty()) {
        throw Failure("there is no network %1, neither a file nor an installed one%2", name,
                      SuggestModel(name));
    }
    if (types.size() > 1) {
        std::string list;
        for (const NamedType& type : types) {
            list += (list.empty() ? "" : ", ") + std::string(type.name);
        }
        throw WrongUse("%1 means several networks: name one of %2", name, list);
    }
    return host.GetNetwork(types.front().type);
}

// The texts of a network, which may be none, with what they are called in JSON.
std::vector<std::pair<const char*, Kernel::String>> GetTexts(const ModelInfo& info) {
    return {{"producer", info.producer},
            {"domain", info.domain},
            {"description", info.description},
            {"graph_name", info.graphName},
            {"graph_description", info.graphDescription}};
}

void PrintPair(std::ostream& out, std::string_view name, std::string_view value) {
    out << "  " << std::left << std::setw(18) << Kernel::MakePrintable(name).c_str() << ' '
        << Kernel::MakePrintable(value).c_str() << '\n';
}

void PrintMetadata(std::ostream& out, const ModelInfo& info) {
    for (const auto& [name, text] : GetTexts(info)) {
        if (!text.empty()) {
            std::string words = name;
            std::ranges::replace(words, '_', ' ');
            PrintPair(out, words, text);
        }
    }
    if (info.version != 0) {
        PrintPair(out, "version", std::to_string(info.version));
    }
}

void Print(std::ostream& out, const NetworkFile& file, const Learning::Device& device,
           const ModelInfo& info) {
    out << Kernel::MakePrintable(file.path).c_str() << '\n';
    PrintPair(
        out, "size",
        Kernel::Format("%1 (%2 bytes)", FormatSize(static_cast<double>(file.size)), file.size));
    std::string where = GetDeviceName(device.kind);
    for (const Kernel::String& more : {device.provider, device.vendor}) {
        where += more.empty() ? "" : ", " + std::string(std::string_view(more));
    }
    PrintPair(out, "device", where);
    PrintMetadata(out, info);
    out << "inputs\n" << ListValues(info.inputs) << "outputs\n" << ListValues(info.outputs);
    if (!info.customEntries.empty()) {
        out << "custom entries\n";
    }
    for (const auto& [key, text] : info.customEntries) {
        PrintPair(out, key, text);
    }
}

/// A number, the name of a dimension of any size, or null for one without a name.
std::string ToJson(const ModelValue::Dimension& dimension) {
    if (dimension.size >= 0) {
        return std::to_string(dimension.size);
    }
    return dimension.name.empty() ? "null" : QuoteJson(dimension.name);
}

std::string ToJson(const ModelValue& value) {
    const bool isTensor = value.kind == ModelValue::Kind::Tensor;
    std::vector<std::string> shape;
    for (const ModelValue::Dimension& dimension : value.dimensions) {
        shape.push_back(ToJson(dimension));
    }
    return MakeJsonObject(
        {{"name", QuoteJson(value.name)},
         {"kind", QuoteJson(GetKindName(value.kind))},
         {"type", isTensor ? QuoteJson(GetElementTypeName(value.elementType)) : "null"},
         {"shape", isTensor ? MakeJsonArray(shape) : "null"}});
}

std::string ToJson(const std::vector<ModelValue>& values) {
    std::vector<std::string> elements;
    elements.reserve(values.size());
    for (const ModelValue& value : values) {
        elements.push_back(ToJson(value));
    }
    return MakeJsonArray(elements);
}

std::string ToJson(const Learning::Device& device) {
    return MakeJsonObject({{"kind", QuoteJson(GetDeviceName(device.kind))},
                           {"provider", QuoteJson(device.provider)},
                           {"vendor", QuoteJson(device.vendor)}});
}

std::string MetadataToJson(const ModelInfo& info) {
    std::vector<std::pair<std::string, std::string>> members;
    for (const auto& [name, text] : GetTexts(info)) {
        members.emplace_back(name, QuoteJson(text));
    }
    members.emplace_back("version", std::to_string(info.version));
    std::vector<std::pair<std::string, std::string>> entries;
    for (const auto& [key, text] : info.customEntries) {
        entries.emplace_back(std::string(std::string_view(key)), QuoteJson(text));
    }
    members.emplace_back("custom", MakeJsonObject(entries));
    return MakeJsonObject(members);
}

}  // namespace

void DescribeModel(const Host& host, const DescribeOptions& options) {
    const Network network = Open(host, options.model);
    const NetworkFile file = ExamineFile(network.GetPath());
    const Learning::Device device = network.GetDevice();
    const ModelInfo info = network.GetInfo();
    if (!options.isJson) {
        Print(host.GetOut(), file, device, info);
        return;
    }
    host.GetOut() << MakeJsonObject({{"file", QuoteJson(file.path)},
                                     {"bytes", std::to_string(file.size)},
                                     {"device", ToJson(device)},
                                     {"inputs", ToJson(info.inputs)},
                                     {"outputs", ToJson(info.outputs)},
                                     {"metadata", MetadataToJson(info)}})
                  << '\n';
}

}  // namespace LearningApp
