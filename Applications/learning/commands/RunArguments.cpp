#include "commands/RunArguments.h"

#include "Kernel/FileSystem.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "files/Npy.h"
#include "files/Paths.h"
#include "files/Pipes.h"
#include "files/Source.h"
#include "host/Host.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace LearningApp {

namespace {

using Kernel::Counted;
using Learning::Tensor;

/// Splits at the separators; an empty text has no parts.
std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end);
        if (text.size() == 1) {
            parts.emplace_back();  // what follows a closing separator
        }
        text.remove_prefix(std::min<std::size_t>(text.size(), 1));
    }
    return parts;
}

/// `argument` is what the message shows.
template <class Number>
std::vector<Number> ParseNumbers(std::string_view text, char separator,
                                 const std::string& argument) {
    std::vector<Number> numbers;
    for (const std::string_view part : Split(text, separator)) {
        Number number{};
        const char* const end = part.data() + part.size();
        const auto [stop, error] = std::from_chars(part.data(), end, number);
        if (error != std::errc() || stop != end) {
            const bool isTooLarge = error == std::errc::result_out_of_range;
            throw WrongUse("%1: %2 is %3", argument, part.empty() ? "nothing" : part,
                           isTooLarge ? "out of range" : "not a number");
        }
        numbers.push_back(number);
    }
    return numbers;
}

/// "SHAPE:v,v,v", or "SHAPE:v" for one value everywhere.
Counted<Tensor> ParseInlineTensor(std::string_view text, const std::string& argument) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        throw WrongUse("%1: a source is a picture, a .npy file, or SHAPE:VALUES such as 1x2:0.5,1",
                       argument);
    }
    const std::vector<int> shape = ParseShape(text.substr(0, colon), argument);
    const std::uint64_t count = CheckShape(shape, argument);
    std::vector<float> values = ParseNumbers<float>(text.substr(colon + 1), ',', argument);
    if (values.size() == 1) {
        return MakeTensor(shape, values.front());
    }
    if (values.size() != count) {
        throw WrongUse("%1: %2 values do not fill the shape %3", argument, values.size(),
                       ShapeToText(shape));
    }
    return MakeTensor(shape, std::move(values));
}

/// Whether the source of an input is a file or a pipe, which need not be there.
bool IsFile(const std::string& source) {
    constexpr std::array Extensions{".npy", ".png", ".jpg", ".jpeg", ".tif", ".tiff", ".webp"};
    return IsPipe(source) ||
           Kernel::FileSystem::Examine(source).kind == Kernel::FileSystem::Status::Kind::File ||
           std::ranges::any_of(Extensions,
                               [&](const char* end) { return HasExtension(source, end); });
}

InputSource ReadInput(const std::string& argument) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw WrongUse("--input %1: write NAME=SOURCE", argument);
    }
    InputSource input;
    input.name = argument.substr(0, equals);
    input.file = argument.substr(equals + 1);
    if (!IsFile(input.file)) {
        input.tensor = ParseInlineTensor(std::exchange(input.file, {}), argument);
        return input;
    }
    const auto source = Source::Open(input.file);
    if (IsNpy(source->GetStart()) || HasExtension(input.file, ".npy")) {
        input.tensor = LoadNpy(*source);
    } else {
        input.photo = LoadPhoto(*source);
    }
    return input;
}

OutputTarget ParseOutput(const std::string& argument) {
    const std::size_t equals = std::min(argument.find('='), argument.size());
    OutputTarget output{.argument = argument, .target = argument.substr(0, equals), .file = {}};
    if (output.target.empty() || output.target.front() == ':') {
        throw WrongUse("--output %1: write NAME or NAME:SHAPE, and =FILE to keep it", argument);
    }
    if (equals < argument.size()) {
        output.file = argument.substr(equals + 1);
        CheckTarget(output.file);
        if (!IsPipe(output.file) && !HasExtension(output.file, ".npy") &&
            !HasExtension(output.file, ".png")) {
            throw WrongUse("an output is kept in a .npy or a .png file, not in %1", output.file);
        }
    }
    return output;
}

/// Throws WrongUse if an output would take the place of another one or of one of `sources`.
void CheckDistinct(const std::vector<OutputTarget>& outputs, std::vector<std::string> sources) {
    for (const OutputTarget& output : outputs) {
        if (output.file.empty()) {
            continue;
        }
        const auto isThis = [&](const std::string& file) { return IsSameFile(file, output.file); };
        const auto taken = std::ranges::find_if(sources, isThis);
        if (taken != sources.end()) {
            throw WrongUse("the output %1 would take the place of %2: name another file",
                           output.file, *taken);
        }
        sources.push_back(output.file);
    }
}

}  // namespace

std::vector<int> ParseShape(std::string_view text, const std::string& argument) {
    std::vector<int> shape = ParseNumbers<int>(text, 'x', argument);
    if (const std::string fault = FindShapeFault(shape); !fault.empty()) {
        throw WrongUse("%1 has %2", argument, fault);
    }
    return shape;
}

std::vector<InputSource> ReadInputs(const std::vector<std::string>& arguments) {
    std::vector<InputSource> inputs;
    for (const std::string& argument : arguments) {
        InputSource input = ReadInput(argument);
        if (std::ranges::find(inputs, input.name, &InputSource::name) != inputs.end()) {
            throw WrongUse("--input %1: that input has a source already", argument);
        }
        inputs.push_back(std::move(input));
    }
    return inputs;
}

std::vector<OutputTarget> ParseOutputs(const std::vector<std::string>& arguments,
                                       std::vector<std::string> sources) {
    std::vector<OutputTarget> outputs;
    outputs.reserve(arguments.size());
    for (const std::string& argument : arguments) {
        outputs.push_back(ParseOutput(argument));
    }
    CheckDistinct(outputs, std::move(sources));
    return outputs;
}

}  // namespace LearningApp
