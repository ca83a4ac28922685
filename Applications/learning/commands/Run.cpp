#include "Kernel/Utf.h"

#include "commands/Commands.h"
#include "commands/RunArguments.h"
#include "commands/RunPictures.h"
#include "failures/Failure.h"
#include "failures/Suggestion.h"
#include "files/Files.h"
#include "files/Npy.h"
#include "files/PhotoColours.h"
#include "files/Pipes.h"
#include "networks/NetworkFit.h"
#include "networks/Signature.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <utility>

namespace LearningApp {

namespace {

using Kernel::Counted;
using Learning::ModelInfo;
using Learning::ModelValue;
using Learning::Tensor;
using TensorMap = Learning::Model::TensorMap;

template <class... Arguments>
[[noreturn]] void Refuse(const ModelInfo& info, std::string_view pattern,
                         const Arguments&... arguments) {
    throw WrongUse("%1\n%2", Kernel::Format(pattern, arguments...), ShowSignature(info));
}

/// The planes of `photo` as `value` takes them.
Counted<Tensor> ToTensor(const Raster::DynamicBitmap& photo, const ModelValue& value) {
    auto tensor = MakeTensor(FindPictureShape(value, photo.GetWidth(), photo.GetHeight()));
    const PhotoColours colours = FindColours(photo.GetProfile()).value_or(PhotoColours());
    Learning::FillTensorCHW(*tensor, photo, {.stages = colours.toNetwork});
    return tensor;
}

void CheckFloats(const ModelInfo& info, const ModelValue& value, const char* what) {
    if (!HoldsFloats(value)) {
        Refuse(info, "the %1 %2 is of type %3, and learning run knows only float32", what,
               Kernel::MakePrintable(value.name), GetTypeName(value));
    }
}

/// The one of `values`, which are `what`, such as "input", that has the name and holds floats.
const ModelValue& Find(const ModelInfo& info, const std::vector<ModelValue>& values,
                       const char* what, std::string_view name) {
    const ModelValue* const value = FindValue(values, name);
    if (value == nullptr) {
        Refuse(info, "the network has no %1 %2%3", what, name, Suggest(name, GetNames(values)));
    }
    CheckFloats(info, *value, what);
    return *value;
}

/// The inputs as tensors of the shapes that the network takes.
TensorMap FitInputs(const ModelInfo& info, const std::vector<InputSource>& sources) {
    TensorMap inputs;
    for (const InputSource& source : sources) {
        const ModelValue& value = Find(info, info.inputs, "input", source.name);
        const Counted<Tensor> tensor =
            source.photo ? ToTensor(*source.photo, value) : source.tensor;
        if (!Takes(value, tensor->GetDimensions())) {
            Refuse(info, "the input %1 has the shape %2, and the network takes %3", source.name,
                   ShapeToText(tensor->GetDimensions()), ShowShape(value));
        }
        inputs.emplace(source.name, tensor);
    }
    for (const ModelValue& value : info.inputs) {
        if (!inputs.contains(value.name) && value.kind != ModelValue::Kind::Optional) {
            CheckFloats(info, value, "input");
            Refuse(info, "the input %1 is missing: add --input %1=SOURCE",
                   Kernel::MakePrintable(value.name));
        }
    }
    return inputs;
}

std::vector<PhotoInput> FindPhotos(const std::vector<InputSource>& sources,
                                   const TensorMap& inputs) {
    std::vector<PhotoInput> photos;
    for (const InputSource& source : sources) {
        if (source.photo) {
            photos.push_back({source.photo, inputs.at(source.name)});
        }
    }
    return photos;
}

struct RunOutput {
    std::string name;
    std::string file;                       // empty: print it
    const ModelValue* value = nullptr;      // in the network
    std::optional<std::vector<int>> shape;  // if it is known
    Counted<Tensor> tensor;
};

void CheckPicture(const RunOutput& output) {
    if (HasExtension(output.file, ".png") && CountPictureChannels(*output.shape) == 0) {
        throw WrongUse("the shape %1 is no picture of 1, 3 or 4 channels: keep it in a .npy file",
                       ShapeToText(*output.shape));
    }
}

/// The output that `target` means, with its shape if that is given. A name may have colons.
RunOutput FindOutput(const ModelInfo& info, const OutputTarget& target) {
    RunOutput output;
    output.name = target.target;
    output.file = target.file;
    const std::size_t colon = target.target.rfind(':');
    const auto isOutput = [&info](const std::string& name) {
        return FindValue(info.outputs, name) != nullptr;
    };
    const bool hasShape = colon != std::string::npos && !isOutput(output.name) &&
                          (isOutput(output.name.substr(0, colon)) ||
                           Suggest(output.name, GetNames(info.outputs)).empty());
    if (hasShape) {
        output.name.resize(colon);
    }
    output.value = &Find(info, info.outputs, "output", output.name);
    if (hasShape) {
        output.shape = ParseShape(target.target.substr(colon + 1), target.argument);
        CheckPicture(output);
    }
    return output;
}

std::vector<RunOutput> FindOutputs(const ModelInfo& info,
                                   const std::vector<OutputTarget>& targets) {
    if (targets.empty()) {
        Refuse(info, "no output is asked for: add --output NAME or --output NAME=FILE");
    }
    std::vector<RunOutput> outputs;
    for (const OutputTarget& target : targets) {
        RunOutput output = FindOutput(info, target);
        if (std::ranges::find(outputs, output.name, &RunOutput::name) != outputs.end()) {
            throw WrongUse("--output %1: that output is asked for already", target.argument);
        }
        outputs.push_back(std::move(output));
    }
    return outputs;
}

/// The shape that the output will have for the sizes that the inputs give to names.
std::vector<int> FindShape(const ModelInfo& info, const RunOutput& output,
                           const NamedSizes& sizes) {
    const ModelValue resolved = Resolve(*output.value, sizes);
    if (!IsFixed(resolved)) {
        Refuse(info,
               "the inputs do not tell the whole shape of the output %1, which is %2: write it, "
               "--output %1:SHAPE, with numbers for all",
               output.name, ShowShape(resolved));
    }
    std::vector<int> shape = GetShape(resolved);
    if (const std::string fault = FindShapeFault(shape); !fault.empty()) {
        Refuse(info, "the shape of the output %1 has %2", output.name, fault);
    }
    return shape;
}

/// Tensors for the outputs.
TensorMap MakeResults(const ModelInfo& info, const NamedSizes& sizes,
                      std::vector<RunOutput>& outputs) {
    TensorMap results;
    for (RunOutput& output : outputs) {
        if (!output.shape) {
            output.shape = FindShape(info, output, sizes);
            CheckPicture(output);
        }
        output.tensor = MakeTensor(*output.shape);
        results.emplace(output.name, output.tensor);
    }
    return results;
}

/// For a network that has refused to run. Not before: what a network says of its outputs may be
/// wrong, and then the user has to know better.
void CheckShapes(const ModelInfo& info, const std::vector<RunOutput>& outputs,
                 const NamedSizes& sizes) {
    for (const RunOutput& output : outputs) {
        if (!Takes(Resolve(*output.value, sizes), *output.shape)) {
            Refuse(info, "the output %1 is asked for in the shape %2, and the network gives %3",
                   output.name, ShapeToText(*output.shape),
                   ShowShape(Resolve(*output.value, sizes)));
        }
    }
}

void Print(const RunOutput& output, std::ostream& out) {
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

void Deliver(const Host& host, const RunOutput& output, const std::vector<PhotoInput>& photos) {
    if (output.file.empty()) {
        Print(output, host.GetOut());
        return;
    }
    if (HasExtension(output.file, ".png")) {
        SavePicture(*MakeResult(*output.tensor, photos), output.file);
    } else {
        SaveNpy(*output.tensor, output.file);
    }
    host.SayWritten(output.file);
}

}  // namespace

void RunModel(const Host& host, const RunOptions& options) {
    const std::vector<InputSource> sources =
        host.Time(Phase::Decode, [&] { return ReadInputs(options.inputs); });
    std::vector<std::string> files{options.model};
    for (const InputSource& source : sources) {
        if (!source.file.empty() && !IsStandardStream(source.file)) {
            files.push_back(source.file);
        }
    }
    const std::vector<OutputTarget> targets = ParseOutputs(options.outputs, std::move(files));
    const Network network = host.OpenNetwork(options.model);
    const ModelInfo info = network.GetInfo();
    std::vector<RunOutput> outputs = FindOutputs(info, targets);
    const TensorMap inputs = host.Time(Phase::Decode, [&] { return FitInputs(info, sources); });
    const NamedSizes sizes = FindNamedSizes(info, inputs);
    const TensorMap results = MakeResults(info, sizes, outputs);
    try {
        network.Run(inputs, results);
    } catch (const Failure& failure) {
        CheckShapes(info, outputs, sizes);
        throw Failure("%1\n%2", failure.what(), ShowSignature(info));
    }
    const std::vector<PhotoInput> photos = FindPhotos(sources, inputs);
    host.Time(Phase::Encode, [&] {
        for (const RunOutput& output : outputs) {
            Deliver(host, output, photos);
        }
    });
}

}  // namespace LearningApp
