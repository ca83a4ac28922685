// What remote operations on pictures are told, beside pictures and models.

#pragma once

#include <cstdint>

namespace Learning {

/// Hears how far an operation is, from 0 to 1 by the time that it is expected to take, on a thread
/// that is not the caller's; never after the operation has returned.
using ProgressCallback = void (*)(float share, void* context);

/// The proportion of sides of pictures: a number that the service knows.
enum class TextToImageAspect : std::int32_t {};

/// What of a reference picture guides the service.
enum class TextToImageGuidanceMode : std::int32_t {
    None = 0,
    FaceTransfer = 1,
    ContentTransfer = 2,
    StyleTransfer = 3,
};

/// The style of pictures.
enum class GenerationStyle : std::int32_t {
    Render3D = 0,
    BokehPhotography = 1,
    Cinematic = 2,
    CinematicConcept = 3,
    Creative = 4,
    Dynamic = 5,
    Fashion = 6,
    PopArt = 7,
    VectorGraphicDesign = 8,
    HDRPhotography = 9,
    Illustration = 10,
    MacroPhotography = 11,
    Minimalist = 12,
    Moody = 13,
    PortraitPhotography = 14,
    ProfessionalBlackAndWhitePhotography = 15,
    ProfessionalColourPhotography = 16,
    ProfessionalFilmPhotography = 17,
    FashionPortraitPhotography = 18,
    RayTraced = 19,
    BlackAndWhiteSketch = 20,
    ColourSketch = 21,
    StockPhotography = 22,  // neutral
    Vibrant = 23,
};

}  // namespace Learning
