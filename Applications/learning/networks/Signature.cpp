#include "networks/Signature.h"

#include "Kernel/Utf.h"

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <sstream>

namespace LearningApp {

namespace {

using Learning::ModelValue;

std::string ShowDimension(const ModelValue::Dimension& dimension) {
    if (dimension.size >= 0) {
        return std::to_string(dimension.size);
    }
    return dimension.name.empty() ? "?" : Kernel::MakePrintable(dimension.name).c_str();
}

}  // namespace

std::string ShowShape(const ModelValue& value) {
    std::string text;
    for (const ModelValue::Dimension& dimension : value.dimensions) {
        text += (text.empty() ? "" : ", ") + ShowDimension(dimension);
    }
    return '[' + text + ']';
}

const char* GetTypeName(const ModelValue& value) noexcept {
    return value.kind == ModelValue::Kind::Tensor ? GetElementTypeName(value.elementType)
                                                  : GetKindName(value.kind);
}

std::string ListValues(const std::vector<ModelValue>& values, std::size_t most) {
    constexpr std::size_t WidestColumn = 40;
    std::size_t width = 0;
    for (const ModelValue& value : values) {
        width = std::max(width, std::min(value.name.size(), WidestColumn));
    }
    std::ostringstream out;
    const std::size_t shown = std::min(values.size(), most);
    for (std::size_t i = 0; i < shown; ++i) {
        const ModelValue& value = values[i];
        out << "  " << std::left << std::setw(static_cast<int>(width))
            << Kernel::MakePrintable(value.name).c_str() << "  " << GetTypeName(value);
        if (value.kind == ModelValue::Kind::Tensor) {
            out << "  " << ShowShape(value);
        }
        out << '\n';
    }
    if (shown < values.size()) {
        out << "  and " << values.size() - shown << " more\n";
    }
    return out.str();
}

std::string ShowSignature(const Learning::ModelInfo& info) {
    constexpr std::size_t Most = 20;
    const std::string text = "The network takes\n" + ListValues(info.inputs, Most) + "and gives\n" +
                             ListValues(info.outputs, Most);
    return text.substr(0, text.size() - 1);
}

const ModelValue* FindValue(const std::vector<ModelValue>& values, std::string_view name) {
    const auto found = std::ranges::find_if(
        values, [name](const ModelValue& value) { return std::string_view(value.name) == name; });
    return found != values.end() ? &*found : nullptr;
}

std::vector<std::string> GetNames(const std::vector<ModelValue>& values) {
    std::vector<std::string> names;
    std::ranges::transform(values, std::back_inserter(names), [](const ModelValue& value) {
        return std::string(Kernel::MakePrintable(value.name).c_str());
    });
    return names;
}

const char* GetDeviceName(Learning::Device::Kind kind) noexcept {
    using Kind = Learning::Device::Kind;
    return kind == Kind::GPU   ? "GPU"
           : kind == Kind::NPU ? "NPU"
           : kind == Kind::CPU ? "CPU"
                               : "unknown";
}

}  // namespace LearningApp
