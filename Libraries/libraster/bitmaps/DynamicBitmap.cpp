#include "Raster/DynamicBitmap.h"

#include "Raster/AffineTransform.h"
#include "Raster/Rendering.h"

#include "bitmaps/AlphaScan.h"
#include "bitmaps/BitmapCaches.h"
#include "bitmaps/FloatRepair.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

namespace Raster {

namespace {

constexpr std::size_t RowAlignment = 64;

void CheckSide(int side) {
    if (side < 0 || side > DynamicBitmap::MaximumSide) {
        throw std::invalid_argument("Bitmap: " + std::to_string(side) + " is no width or height");
    }
}

std::size_t RoundUpToAlignment(std::size_t size) noexcept {
    return (size + RowAlignment - 1) / RowAlignment * RowAlignment;
}

/// The stride. Deliberate: never a multiple of a memory page. The pixels of a column would map to
/// the same few cache sets, and a tile would evict its own rows.
std::size_t FindStride(std::size_t rowSize) noexcept {
    constexpr std::size_t Page = 4096;
    const std::size_t stride = RoundUpToAlignment(rowSize);
    return stride % Page == 0 ? stride + RowAlignment : stride;
}

int HalveRepeatedly(int side, int level) noexcept {
    const int times = std::clamp(level, 0, 30);
    return static_cast<int>((std::int64_t{side} + (std::int64_t{1} << times) - 1) >> times);
}

std::span<const std::byte> GetRow(const ConstPixelView& view, int y) noexcept {
    return {view.At(0, y), static_cast<std::size_t>(view.width) * view.format->GetPixelSize()};
}

void Copy(const ConstPixelView& from, const PixelView& to, const Rendering& rendering,
          const bool* abort) {
    const ViewSource source(from);
    ViewTarget target(to);
    RunHostPath({&source, &target, nullptr, &rendering, abort}, to.GetBounds());
}

}  // namespace

DelayLoader::~DelayLoader() = default;

DynamicBitmap::DynamicBitmap() : DynamicBitmap(0, 0) {}

DynamicBitmap::DynamicBitmap(int width, int height, Format format, MipmapMode mipmapMode,
                             HardwareCachePolicy policy)
    : DynamicBitmap(width, height, Raster::GetPixelFormat(format), mipmapMode, policy) {}

DynamicBitmap::DynamicBitmap(int width, int height, const PixelFormat& format,
                             MipmapMode mipmapMode, HardwareCachePolicy policy)
    : m_format(&format), m_memory(nullptr, &std::free), m_mipmapMode(mipmapMode), m_policy(policy) {
    Allocate(width, height, format);
}

DynamicBitmap::~DynamicBitmap() = default;

void DynamicBitmap::Create(int width, int height, Format format) {
    const PixelFormat& pixelFormat = Raster::GetPixelFormat(format);
    if (m_isFormatFixed && &pixelFormat != m_format) {
        throw std::invalid_argument("the type of the bitmap has another pixel format");
    }
    Allocate(width, height, pixelFormat);
    m_profile = {};
}

void DynamicBitmap::Allocate(int width, int height, const PixelFormat& format) {
    CheckSide(width);
    CheckSide(height);
    const std::size_t stride = FindStride(static_cast<std::size_t>(width) * format.GetPixelSize());
    const auto rows = static_cast<std::size_t>(height);
    constexpr auto Most = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max());
    if (rows > 0 && stride > (Most - RowAlignment) / rows) {
        throw std::bad_alloc();
    }
    auto caches = std::make_unique<Caches>();
    // calloc() maps zero pages lazily: a large bitmap costs nothing until it is written.
    std::unique_ptr<void, void (*)(void*)> memory(std::calloc(stride * rows + RowAlignment, 1),
                                                  &std::free);
    if (!memory) {
        throw std::bad_alloc();
    }
    const auto address = std::bit_cast<std::uintptr_t>(memory.get());
    m_pixels = static_cast<std::byte*>(memory.get()) + (RoundUpToAlignment(address) - address);
    m_memory = std::move(memory);
    m_caches = std::move(caches);
    m_width = width;
    m_height = height;
    m_stride = static_cast<std::ptrdiff_t>(stride);
    m_format = &format;
}

void DynamicBitmap::ClearPixels() const noexcept {
    std::memset(m_pixels, 0,
                static_cast<std::size_t>(m_stride) * static_cast<std::size_t>(m_height));
}

Kernel::Counted<DynamicBitmap> DynamicBitmap::Clone(bool* abort) const {
    Kernel::Counted<DynamicBitmap> clone = CloneEmpty();
    return CopyTo(*clone, abort) ? clone : nullptr;
}

Kernel::Counted<DynamicBitmap> DynamicBitmap::CloneEmpty() const {
    Kernel::Counted<DynamicBitmap> empty =
        Kernel::MakeCounted<DynamicBitmap>(m_width, m_height, *m_format, m_mipmapMode, m_policy);
    empty->SetProfile(m_profile);
    return empty;
}

bool DynamicBitmap::CopyTo(DynamicBitmap& copy, bool* abort) const {
    SyncHostCache(nullptr, false, abort);
    if (!IsAborted(abort)) {
        Copy(GetHostView(), copy.GetHostView(), {}, abort);
    }
    return !IsAborted(abort);
}

Rect DynamicBitmap::GetAlphaBoundingBox(bool* abort) const {
    SyncHostCache(nullptr, false, abort);
    const Rect box = FindAlphaBox(GetHostView(), abort);
    return IsAborted(abort) ? Rect{} : box;
}

Rect DynamicBitmap::GetInverseAlphaBoundingBox(bool* abort) const {
    SyncHostCache(nullptr, false, abort);
    const Rect box = FindInverseAlphaBox(GetHostView(), abort);
    return IsAborted(abort) ? GetBounds() : box;
}

int DynamicBitmap::GetWidth(int level) const noexcept {
    return HalveRepeatedly(m_width, level);
}

int DynamicBitmap::GetHeight(int level) const noexcept {
    return HalveRepeatedly(m_height, level);
}

Kernel::Counted<const DynamicBitmap> DynamicBitmap::GetLevel(int level) const {
    const int larger = std::max(m_width, m_height);
    if (m_mipmapMode == MipmapMode::None || GetBounds().IsEmpty() || level < 1 ||
        HalveRepeatedly(larger, level - 1) == 1) {
        return nullptr;
    }
    SyncHostCache(nullptr, false, nullptr);
    const Kernel::ScopedLock lock(m_caches->levelSection);
    auto& levels = m_caches->levels;
    const auto count = static_cast<std::size_t>(level);
    while (levels.size() < count) {
        levels.push_back(levels.empty() ? MakeHalf() : levels.back()->MakeHalf());
    }
    return levels[count - 1];
}

Kernel::Counted<const DynamicBitmap> DynamicBitmap::MakeHalf() const {
    auto half = Kernel::MakeCounted<DynamicBitmap>(GetWidth(1), GetHeight(1), *m_format,
                                                   MipmapMode::None, m_policy);
    half->SetProfile(m_profile);
    Rendering shrinking;
    shrinking.transform =
        AffineTransform::Params::Scale(static_cast<double>(half->m_width) / m_width,
                                       static_cast<double>(half->m_height) / m_height);
    shrinking.sampler = Sampler::Area;
    Copy(GetHostView(), half->GetHostView(), shrinking, nullptr);
    return half;
}

void DynamicBitmap::SetProfile(Kernel::Consolidated<ICCProfile> profile) {
    m_profile = std::move(profile);
    m_caches->DropLevels();  // which have the old one
}

PixelView DynamicBitmap::GetHostView() noexcept {
    return {m_pixels, m_stride, m_width, m_height, m_format};
}

ConstPixelView DynamicBitmap::GetHostView() const noexcept {
    return {m_pixels, m_stride, m_width, m_height, m_format};
}

void DynamicBitmap::SetDelayLoader(std::unique_ptr<DelayLoader> loader) {
    Allocate(m_width, m_height, *m_format);  // costs nothing until the load
    m_caches->loader = std::move(loader);
    m_caches->isPending = m_caches->loader != nullptr;
}

bool DynamicBitmap::IsPendingDelayLoad() const noexcept {
    return m_caches->isPending;
}

void DynamicBitmap::ForceDelayLoad(const bool* abort) const {
    if (!IsPendingDelayLoad()) {
        return;
    }
    const Kernel::ScopedLock lock(m_caches->loadSection);
    if (!m_caches->loader || IsAborted(abort)) {
        return;
    }
    try {
        m_caches->loader->Load({m_pixels, m_stride, m_width, m_height, m_format}, abort);
    } catch (...) {
        ClearPixels();  // as the next attempt expects them
        throw;
    }
    if (IsAborted(abort)) {
        ClearPixels();
        return;
    }
    m_caches->loader = nullptr;
    m_caches->isPending = false;
}

bool DynamicBitmap::IsEqual(const DynamicBitmap& other) const {
    if (m_width != other.m_width || m_height != other.m_height || m_format != other.m_format) {
        return false;
    }
    SyncHostCache(nullptr, false, nullptr);
    other.SyncHostCache(nullptr, false, nullptr);
    for (int y = 0; y < m_height; ++y) {
        const std::span<const std::byte> row = GetRow(GetHostView(), y);
        if (std::memcmp(row.data(), GetRow(other.GetHostView(), y).data(), row.size()) != 0) {
            return false;
        }
    }
    return true;
}

void DynamicBitmap::AccumulateHashFast(Kernel::HashAccumulator& hash) const {
    SyncHostCache(nullptr, false, nullptr);
    hash.Add(m_width);
    hash.Add(m_height);
    hash.Add(m_format->code);
    for (int y = 0; y < m_height; ++y) {
        hash.Add(GetRow(GetHostView(), y));
    }
}

Kernel::FixCorruptionsResult DynamicBitmap::CheckForCorruptions(bool isThorough) const {
    if (!isThorough || !HasFloatSamples(*m_format)) {
        return Kernel::FixCorruptionsResult::Sound;
    }
    SyncHostCache(nullptr, false, nullptr);
    return HasOnlyFiniteSamples(GetHostView()) ? Kernel::FixCorruptionsResult::Sound
                                               : Kernel::FixCorruptionsResult::Damaged;
}

Kernel::FixCorruptionsResult DynamicBitmap::FixCorruptions() {
    const Kernel::FixCorruptionsResult found = CheckForCorruptions(true);
    if (found == Kernel::FixCorruptionsResult::Sound) {
        return found;
    }
    ClearSamplesThatAreNotFinite(GetHostView());
    InvalidateHardwareCache(GetBounds());
    return Kernel::FixCorruptionsResult::Repaired;
}

}  // namespace Raster
