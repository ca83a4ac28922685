#include "Learning/ImageToImageAlphaMode.h"

#include "Kernel/NeverDestroyed.h"

#include <array>

namespace Learning {

namespace {

/// By number: their names in files are not ours to choose.
constexpr std::array<Kernel::EnumSerialiser::Entry, 4> Modes{
    {{0, nullptr}, {1, nullptr}, {2, nullptr}, {3, nullptr}}};

}  // namespace

ImageToImageAlphaModeEnumSerialiser& ImageToImageAlphaModeEnumSerialiser::GetInstance() {
    static Kernel::NeverDestroyed<ImageToImageAlphaModeEnumSerialiser> instance;
    return *instance;
}

ImageToImageAlphaModeEnumSerialiser::ImageToImageAlphaModeEnumSerialiser() {
    RegisterEnumSet(Modes);
}

}  // namespace Learning
