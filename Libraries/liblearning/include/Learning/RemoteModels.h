// The models that the inference service offers.

#pragma once

#include "Kernel/String.h"

#include <cstdint>
#include <vector>

namespace Learning {

// The fields bear the names of their keys in the service's catalogue.

/// A model that makes pictures from text.
struct TextToImageModel {
    Kernel::String modelName;  // for the user, as the next
    Kernel::String modelDescription;
    Kernel::String modelKey;               // for the service
    Kernel::String modelClass;             // such as "Premium", for the user
    std::int32_t modelMaxGenerations = 0;  // pictures in one request
    std::int32_t modelPollStartMS = 0;     // milliseconds that a job is expected to take
    bool modelSupportsStyles = false;
    bool modelSupportsVector = false;
    bool modelSupportsAspects = false;
    bool modelSupportsReferenceImage = false;
    bool modelSupportsReferenceImageTypes = false;
    bool modelSupportsPromptEnhancement = false;
    bool modelIsDefault = false;

    bool operator==(const TextToImageModel&) const = default;
};

/// A model that edits pictures. Sizes are in pixels.
struct ImageToImageModel {
    Kernel::String modelName;  // for the user, as the next
    Kernel::String modelDescription;
    Kernel::String modelKey;            // for the service
    Kernel::String modelClass;          // for the user
    std::int32_t modelPollStartMS = 0;  // milliseconds that a job is expected to take
    std::int32_t modelMaxDimension = 1024;
    std::int32_t modelMinDimension = 768;
    std::int32_t modelPixelAlignment = 0;          // of which sides are multiples; 0: any
    std::vector<std::int32_t> modelAllowedWidths;  // empty: any
    std::vector<std::int32_t> modelAllowedHeights;
    bool modelMustBeSquare = false;
    bool modelIsDefault = false;

    bool operator==(const ImageToImageModel&) const = default;
};

}  // namespace Learning
