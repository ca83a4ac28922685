#include "Raster/Planes.h"

#include "formats/HostFormatObjects.h"
#include "spans/CacheShare.h"
#include "spans/PlaneKernels.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Raster {

namespace {

using Role = PlaneChannel::Role;

bool IsInvertible(const ChannelMapping& mapping) noexcept {
    return std::isfinite(mapping.range) && mapping.range != 0 && std::isfinite(mapping.mean) &&
           std::isfinite(mapping.deviation) && mapping.deviation != 0;
}

/// `view` if its channels are valid.
template <class View>
const View& Check(const View& view) {
    if (view.channelCount < 1 || view.channelCount > view.channels.size()) {
        throw std::invalid_argument("pixels have one to four samples");
    }
    unsigned held = 0;  // a bit for each of red, green, blue and alpha
    for (std::size_t i = 0; i < view.channelCount; ++i) {
        const auto& [role, mapping] = view.channels[i];
        const unsigned holds = role == Role::Luma ? 7U : 1U << static_cast<unsigned>(role);
        if ((held & holds) != 0) {
            throw std::invalid_argument("two channels hold the same colour");
        }
        held |= holds;
        if (!IsInvertible(mapping)) {
            throw std::invalid_argument(
                "the mapping of a channel has a range or a deviation of 0, or what is no number");
        }
    }
    return view;
}

bool IsDirect(const ConstPlaneView& view, const PixelFormat& format) noexcept {
    const auto isColour = [](const PlaneChannel& channel) { return channel.role < Role::Alpha; };
    return view.planeStride != 0 && view.channelCount == 3 && &format == &RGBA8Format &&
           std::all_of(view.channels.begin(), view.channels.begin() + 3, isColour);
}

/// The planes by colour.
template <class Sample>
PlaneBlock<Sample> GetBlock(const BasicPlaneView<Sample>& view, const Rect& rect) noexcept {
    PlaneBlock<Sample> block{{}, {}, view.stride};
    Sample* samples = view.At(rect.left, rect.top);
    for (std::size_t i = 0; i < block.planes.size(); ++i, samples += view.planeStride) {
        const auto& [role, mapping] = view.channels[i];
        block.planes[static_cast<std::size_t>(role)] = samples;
        block.mappings[static_cast<std::size_t>(role)] = mapping;
    }
    return block;
}

}  // namespace

PlaneSource::PlaneSource(const ConstPlaneView& view)
    : SpanSource(view.width, view.height), m_view(Check(view)) {}

void PlaneSource::Read(int x, int y, std::size_t count, float* rgba) const {
    ReadPlanes(m_view, m_view.At(x, y), rgba, count);
}

bool PlaneSource::HasDirectWayInto(const PixelFormat& format) const noexcept {
    return IsDirect(m_view, format);
}

void PlaneSource::ConvertInto(const PixelView& target, const Rect& rect) const {
    if (!IsDirect(m_view, *target.format)) {
        return SpanSource::ConvertInto(target, rect);
    }
    ConvertPlanesToBytes(GetBlock(m_view, rect), {target.At(rect.left, rect.top), target.stride},
                         static_cast<std::size_t>(rect.GetWidth()),
                         static_cast<std::size_t>(rect.GetHeight()), ExceedsCacheShare(target));
}

PlaneTarget::PlaneTarget(const PlaneView& view, HiddenColours hidden)
    : m_view(Check(view)), m_hidden(hidden) {}

void PlaneTarget::Write(int x, int y, std::size_t count, const float* rgba) {
    WritePlanes(rgba, m_view, m_hidden, m_view.At(x, y), count);
}

void PlaneTarget::Read(int x, int y, std::size_t count, float* rgba) const {
    ReadPlanes(m_view, m_view.At(x, y), rgba, count);
}

bool PlaneTarget::HasDirectWayFrom(const PixelFormat& format) const noexcept {
    return IsDirect(m_view, format);
}

void PlaneTarget::ConvertFrom(const ConstPixelView& source, const Rect& rect) {
    if (!IsDirect(m_view, *source.format)) {
        return SpanTarget::ConvertFrom(source, rect);
    }
    ConvertBytesToPlanes(
        {source.At(rect.left, rect.top), source.stride}, GetBlock(m_view, rect), m_hidden,
        static_cast<std::size_t>(rect.GetWidth()), static_cast<std::size_t>(rect.GetHeight()),
        ExceedsCacheShare(m_view.width, m_view.height, m_view.channelCount * sizeof(float)));
}

}  // namespace Raster
