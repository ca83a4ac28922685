#include "remote/imagetoimage/TargetSize.h"

#include "Raster/DynamicFile.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace Learning {

namespace {

constexpr std::int64_t LongestFileSide = 65'500;  // of a JPEG file

std::int64_t Scale(int side, double scale) noexcept {
    constexpr double Least = std::numeric_limits<std::int32_t>::min();
    constexpr double Most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int64_t>(std::clamp(side * scale, Least, Most));
}

std::int64_t Align(std::int64_t side, std::int64_t alignment) noexcept {
    if (alignment == 0) {
        return side;
    }
    const std::int64_t next = side - 1 + alignment;
    return next - next % alignment;
}

std::int64_t Allow(std::int64_t side, const std::vector<std::int32_t>& allowed) noexcept {
    const auto found = std::ranges::find_if(allowed, [side](auto one) { return one >= side; });
    return found != allowed.end() ? *found : side;
}

}  // namespace

TargetSize GetTargetSize(const ImageToImageModel& model, int width, int height) {
    double scale = 1;
    if (std::max(width, height) > model.modelMaxDimension) {
        scale = static_cast<double>(model.modelMaxDimension) / std::max(width, height);
    }
    if (model.modelMinDimension > std::min(width, height)) {
        scale = static_cast<double>(model.modelMinDimension) / std::min(width, height);
    }
    const std::int64_t alignment = model.modelPixelAlignment;
    TargetSize size{Allow(Align(Scale(width, scale), alignment), model.modelAllowedWidths),
                    Allow(Align(Scale(height, scale), alignment), model.modelAllowedHeights)};
    if (model.modelMustBeSquare) {
        size.width = size.height = std::max(size.width, size.height);
    }
    return size;
}

bool CanBeSent(const TargetSize& size) noexcept {
    const auto isSide = [](std::int64_t side) { return side > 0 && side <= LongestFileSide; };
    return isSide(size.width) && isSide(size.height) &&
           static_cast<std::uint64_t>(size.width * size.height) <=
               Raster::DynamicFile::MaximumPixelCount;
}

}  // namespace Learning
