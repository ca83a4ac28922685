#include "tensorformats/TensorSamples.h"

#include "tensorformats/TensorElements.h"

#include <algorithm>
#include <span>
#include <stdexcept>

namespace Learning {

namespace {

using Role = Raster::PlaneChannel::Role;

constexpr std::array<Role, 4> InOrder{Role::Red, Role::Green, Role::Blue, Role::Alpha};
constexpr std::array<Role, 3> Reversed{Role::Blue, Role::Green, Role::Red};
constexpr std::array<Role, 1> AlphaAlone{Role::Alpha};
constexpr std::array<Role, 1> LumaAlone{Role::Luma};

std::span<const Role> GetRoles(TensorChannels channels, std::size_t channelCount) {
    const std::span inOrder(InOrder);
    switch (channels) {
        case TensorChannels::ByCount:
            if (channelCount == 1) {
                return LumaAlone;
            }
            return inOrder.first(channelCount == 3 || channelCount == 4 ? channelCount : 0);
        case TensorChannels::Grey:
            return LumaAlone;
        case TensorChannels::RGB:
            return inOrder.first(3);
        case TensorChannels::BGR:
            return Reversed;
        case TensorChannels::RGBA:
            return inOrder;
        case TensorChannels::Alpha:
            return AlphaAlone;
    }
    return {};
}

/// The whole tensor, its channels not yet named.
Raster::PlaneView ViewShape(const Tensor& tensor, AxisOrder order) {
    const std::vector<int> dimensions = tensor.GetDimensions();
    const auto isOne = [](int dimension) { return dimension == 1; };
    const auto axes = dimensions.end() - std::min<std::ptrdiff_t>(3, std::ssize(dimensions));
    if (dimensions.size() < 3 || !std::all_of(dimensions.begin(), axes, isOne) ||
        *std::min_element(axes, dimensions.end()) < 1) {
        throw std::invalid_argument("the tensor has not the shape of one picture");
    }
    const bool isCHW = order == AxisOrder::CHW;
    Raster::PlaneView view;
    view.channelCount = static_cast<std::size_t>(isCHW ? axes[0] : axes[2]);
    view.height = isCHW ? axes[1] : axes[0];
    view.width = isCHW ? axes[2] : axes[1];
    const std::span<float> elements = TensorElements::Get(tensor);
    if (elements.size() / view.channelCount / static_cast<std::size_t>(view.height) <
        static_cast<std::size_t>(view.width)) {
        throw std::invalid_argument("the tensor has fewer elements than its shape");
    }
    view.samples = elements.data();
    view.stride = std::ptrdiff_t{view.width} * (isCHW ? 1 : axes[2]);
    view.planeStride = isCHW ? view.stride * view.height : 0;
    return view;
}

}  // namespace

Raster::PlaneView ViewSamples(const Tensor& tensor, AxisOrder order, const TensorMapping& mapping) {
    Raster::PlaneView view = ViewShape(tensor, order);
    const std::span<const Role> roles = GetRoles(mapping.channels, view.channelCount);
    if (roles.empty() || roles.size() != view.channelCount) {
        throw std::invalid_argument("the tensor does not have as many channels as the mapping");
    }
    for (std::size_t i = 0; i < roles.size(); ++i) {
        view.channels[i] = {roles[i], mapping.mappings[i]};
    }
    const Raster::Rect bounds{0, 0, view.width, view.height};
    const Raster::Rect area = mapping.tensorArea.value_or(bounds);
    if (area.IsEmpty() || area.Intersect(bounds) != area) {
        throw std::invalid_argument("the area is not inside the tensor, or is empty");
    }
    view.samples = view.At(area.left, area.top);
    view.width = static_cast<int>(area.GetWidth());
    view.height = static_cast<int>(area.GetHeight());
    return view;
}

}  // namespace Learning
