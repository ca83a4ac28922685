#include "commands/Commands.h"
#include "failures/Failure.h"
#include "files/Files.h"
#include "files/Npy.h"
#include "networks/Painting.h"

#include <algorithm>
#include <charconv>
#include <ostream>
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

std::vector<int> ParseShape(std::string_view text, const std::string& argument) {
    std::vector<int> shape = ParseNumbers<int>(text, 'x', argument);
    if (const std::string fault = FindShapeFault(shape); !fault.empty()) {
        throw WrongUse("%1 has %2", argument, fault);
    }
    return shape;
}

Counted<Tensor> LoadPlanes(const std::string& path) {
    const auto photo = LoadPhoto(path);
    auto tensor = MakeTensor({1, 3, photo->GetHeight(), photo->GetWidth()});
    Learning::FillTensorCHW(*tensor, *photo);
    return tensor;
}

/// "SHAPE:v,v,v", or "SHAPE:v" for one value everywhere.
Counted<Tensor> ParseInlineTensor(std::string_view text, const std::string& argument) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        throw WrongUse(
            "%1: a source is a .png, .jpg or .npy file, or SHAPE:VALUES such as 1x2:0.5,1",
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

/// Adds what "NAME=SOURCE" says, and the file that it reads, if it does.
void AddInput(const std::string& argument, Learning::Model::TensorMap& inputs,
              std::vector<std::string>& files) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw WrongUse("--input %1: write NAME=SOURCE", argument);
    }
    const auto [input, isNew] = inputs.try_emplace(argument.substr(0, equals));
    if (!isNew) {
        throw WrongUse("--input %1: that input has a source already", argument);
    }
    const std::string source = argument.substr(equals + 1);
    if (HasExtension(source, ".npy")) {
        input->second = LoadNpy(source);
    } else if (HasExtension(source, ".png") || HasExtension(source, ".jpg") ||
               HasExtension(source, ".jpeg")) {
        input->second = LoadPlanes(source);
    } else {
        input->second = ParseInlineTensor(source, argument);
        return;
    }
    files.push_back(source);
}

struct OutputFile {
    std::string name;
    Counted<Tensor> tensor;
    std::string file;  // empty: print it
};

/// How many channels the picture of that shape has: {1, c, h, w}, {c, h, w} or {h, w} with c 1 or
/// 3; 0 if it is none.
int CountPictureChannels(std::vector<int> shape) {
    if (shape.size() < 2 || shape.size() > 4) {
        return 0;
    }
    shape.insert(shape.begin(), 4 - shape.size(), 1);
    const bool isPicture =
        shape[0] == 1 && (shape[1] == 1 || shape[1] == 3) && IsPictureSize(shape[3], shape[2]);
    return isPicture ? shape[1] : 0;
}

void CheckOutputFile(const OutputFile& output) {
    CheckTarget(output.file);
    if (HasExtension(output.file, ".npy")) {
        return;
    }
    if (!HasExtension(output.file, ".png")) {
        throw WrongUse("an output is kept in a .npy or a .png file, not in %1", output.file);
    }
    if (CountPictureChannels(output.tensor->GetDimensions()) == 0) {
        throw WrongUse("the shape %1 is no picture of 1 or 3 channels: keep it in a .npy file",
                       ShapeToText(output.tensor->GetDimensions()));
    }
}

/// Reads "NAME:SHAPE" or "NAME:SHAPE=FILE"; the name may have colons of its own.
OutputFile ParseOutput(const std::string& argument) {
    const std::size_t equals = std::min(argument.find('='), argument.size());
    const std::string_view target = std::string_view(argument).substr(0, equals);
    const std::size_t colon = target.rfind(':');
    if (colon == std::string_view::npos || colon == 0) {
        throw WrongUse("--output %1: write NAME:SHAPE or NAME:SHAPE=FILE", argument);
    }
    OutputFile output;
    output.name = target.substr(0, colon);
    output.tensor = MakeTensor(ParseShape(target.substr(colon + 1), argument));
    if (equals < argument.size()) {
        output.file = argument.substr(equals + 1);
        CheckOutputFile(output);
    }
    return output;
}

/// Throws WrongUse if an output would take the place of another one or of one of `sources`.
void CheckDistinct(const std::vector<OutputFile>& outputs, std::vector<std::string> sources) {
    for (const OutputFile& output : outputs) {
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

void SavePlanes(const OutputFile& output) {
    const std::vector<int> shape = output.tensor->GetDimensions();
    const bool isGrey = CountPictureChannels(shape) == 1;
    const auto picture = MakePicture(shape.end()[-1], shape.end()[-2]);
    PaintPlanes(*output.tensor, *picture,
                [isGrey](std::span<float, 4> pixel, std::span<const float, 4> samples) {
                    for (std::size_t i = 0; i < 3; ++i) {
                        pixel[i] = samples[isGrey ? 0 : i];
                    }
                    pixel[3] = 1;
                });
    SavePicture(*picture, output.file);
}

void Print(const OutputFile& output, std::ostream& out) {
    const std::vector<int> shape = output.tensor->GetDimensions();
    const std::uint64_t count = CheckShape(shape, output.name);
    float low = output.tensor->GetValueAtIndexedSubscript(0);
    float high = low;
    double sum = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const float value = output.tensor->GetValueAtIndexedSubscript(i);
        low = std::min(low, value);
        high = std::max(high, value);
        sum += value;
    }
    out << output.name << "  " << ShapeToText(shape) << "  min " << low << "  max " << high
        << "  mean " << sum / static_cast<double>(count) << "\n ";
    constexpr std::uint64_t ShownCount = 8;
    for (std::uint64_t i = 0; i < std::min(count, ShownCount); ++i) {
        out << ' ' << output.tensor->GetValueAtIndexedSubscript(i);
    }
    out << (count > ShownCount ? " ...\n" : "\n");
}

void Deliver(const OutputFile& output, std::ostream& out) {
    if (output.file.empty()) {
        Print(output, out);
        return;
    }
    if (HasExtension(output.file, ".npy")) {
        SaveNpy(*output.tensor, output.file);
    } else {
        SavePlanes(output);
    }
    out << "wrote " << output.file << '\n';
}

}  // namespace

void RunModel(const Host& host, const RunOptions& options) {
    std::vector<OutputFile> outputs;
    Learning::Model::TensorMap results;
    for (const std::string& argument : options.outputs) {
        const OutputFile& output = outputs.emplace_back(ParseOutput(argument));
        if (!results.try_emplace(output.name, output.tensor).second) {
            throw WrongUse("--output %1: that output is asked for already", argument);
        }
    }
    Learning::Model::TensorMap inputs;
    std::vector<std::string> sources{options.model};
    host.Time(Phase::Decode, [&] {
        for (const std::string& argument : options.inputs) {
            AddInput(argument, inputs, sources);
        }
    });
    CheckDistinct(outputs, std::move(sources));
    host.OpenNetwork(options.model).Run(inputs, results);
    host.Time(Phase::Encode, [&] {
        for (const OutputFile& output : outputs) {
            Deliver(output, host.GetOut());
        }
    });
}

}  // namespace LearningApp
