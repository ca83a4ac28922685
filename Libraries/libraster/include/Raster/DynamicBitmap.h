// Bitmaps whose pixel format is known at run time.

#pragma once

#include "Kernel/Consolidated.h"
#include "Kernel/Counted.h"
#include "Kernel/FixCorruptionsResult.h"
#include "Kernel/HashAccumulator.h"
#include "Raster/Hardware.h"
#include "Raster/ICCProfile.h"
#include "Raster/PixelView.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Raster {

/// Whether a bitmap has mipmaps.
enum class MipmapMode : std::uint8_t {
    None,
    OnDemand,  // each level half as wide and high, made when first requested
};

enum class HardwareCachePolicy : std::uint8_t {
    Allowed,  // a device copy is made when a kernel runs
    Never,
};

/// Loads the pixels of a bitmap lazily: when they are first needed, on the thread that needs them.
class RASTER_API DelayLoader {
public:
    virtual ~DelayLoader();
    /// Fills all of `pixels`, which are transparent, or throws. May return early once
    /// IsAborted(abort); the pixels written so far are then discarded.
    virtual void Load(const PixelView& pixels, const bool* abort) = 0;
};

/// Rows of pixels of one format from the top, on the host and, where kernels ran on it, on a
/// device. Rows are 64-byte aligned; the stride is never a multiple of 4096 bytes. A new bitmap is
/// transparent: all bytes are zero.
///
/// At any moment one of the two copies may be out of date within a rectangle: SyncHostCache() and
/// SyncHardwareCache() bring it up to date, InvalidateHostCache() and InvalidateHardwareCache()
/// mark it stale after the other one was written. Pipelines call them; other code accesses pixels
/// through a pixel accessor.
///
/// Errors: std::invalid_argument for a negative size or one above MaximumSide, std::bad_alloc.
/// A size of 0 is a bitmap without pixels.
///
/// Threads: concurrent reads are safe, pipelines included; a write must be the only access.
class RASTER_API DynamicBitmap : public Kernel::Countable {
public:
    static constexpr int MaximumSide = 1 << 24;

    /// Has no pixels until Create() is called.
    DynamicBitmap();
    DynamicBitmap(int width, int height, Format format = Format::RGBA8,
                  MipmapMode mipmapMode = MipmapMode::None,
                  HardwareCachePolicy policy = HardwareCachePolicy::Allowed);
    DynamicBitmap(int width, int height, const PixelFormat& format,
                  MipmapMode mipmapMode = MipmapMode::None,
                  HardwareCachePolicy policy = HardwareCachePolicy::Allowed);
    DynamicBitmap(const DynamicBitmap&) = delete;
    DynamicBitmap& operator=(const DynamicBitmap&) = delete;
    ~DynamicBitmap() override;

    /// Replaces the pixels by transparent ones of that size and format, and removes the profile. A
    /// Bitmap throws std::invalid_argument for a format that is not its own, and stays unchanged.
    void Create(int width, int height, Format format = Format::RGBA8);

    /// A copy, profile included; null if `abort` was set meanwhile.
    Kernel::Counted<DynamicBitmap> Clone(bool* abort = nullptr) const;
    /// A transparent bitmap of the same size, format and profile.
    Kernel::Counted<DynamicBitmap> CloneEmpty() const;

    /// The smallest rectangle around all pixels that are not fully transparent. All zeros if there
    /// are none, or if `abort` was set meanwhile.
    Rect GetAlphaBoundingBox(bool* abort = nullptr) const;
    /// The smallest rectangle around all pixels that are not fully opaque; EmptyRect if there are
    /// none, and the bounds if `abort` was set meanwhile.
    Rect GetInverseAlphaBoundingBox(bool* abort = nullptr) const;

    /// Of a mipmap level, 0 being the bitmap itself: each level halves the one before, rounded up.
    int GetWidth(int level = 0) const noexcept;
    int GetHeight(int level = 0) const noexcept;
    Rect GetBounds() const noexcept { return {0, 0, m_width, m_height}; }
    /// A mipmap level; null for level 0, without mipmaps, and beyond the level of a single pixel.
    Kernel::Counted<const DynamicBitmap> GetLevel(int level) const;

    const PixelFormat& GetPixelFormat() const noexcept { return *m_format; }
    Format GetFormat() const noexcept { return m_format->code; }
    MipmapMode GetMipmapMode() const noexcept { return m_mipmapMode; }
    HardwareCachePolicy GetHardwareCachePolicy() const noexcept { return m_policy; }
    /// The colour profile of the pixels; empty if it is unknown.
    Kernel::Consolidated<ICCProfile> GetProfile() const { return m_profile; }
    void SetProfile(Kernel::Consolidated<ICCProfile> profile);

    /// The host's pixels, not synchronised: they may be stale.
    PixelView GetHostView() noexcept;
    ConstPixelView GetHostView() const noexcept;

    /// Discards the pixels; `loader` loads new ones when they are first needed. Null: they stay
    /// transparent.
    void SetDelayLoader(std::unique_ptr<DelayLoader> loader);
    bool IsPendingDelayLoad() const noexcept;
    /// Performs a pending load now. Exceptions of the loader propagate; then, and when `abort` is
    /// set meanwhile, the load stays pending.
    void ForceDelayLoad(const bool* abort = nullptr) const;

    /// Whether size, format and all pixels are equal.
    bool IsEqual(const DynamicBitmap& other) const;
    void AccumulateHashFast(Kernel::HashAccumulator& hash) const;
    Kernel::FixCorruptionsResult CheckForCorruptions(bool isThorough) const;
    Kernel::FixCorruptionsResult FixCorruptions();

    // As in ModelBase. Synchronising a copy performs a pending load first, and only that ends early
    // when `abort` is set.
    int GetThreadLimit() const noexcept { return 0; }
    void* GetHardwareDevice() const noexcept;
    std::uintptr_t GetHardwareWriteQueue() const noexcept;
    int GetHardwareParams(const void* device, float* params) const noexcept;
    const char* GetSourceHardwareFragment(HardwareKernelLanguage language) const noexcept;
    const char* GetDestHardwareFragment(HardwareKernelLanguage language) const noexcept;
    const char* GetMaskHardwareFragment(HardwareKernelLanguage language) const noexcept;
    bool GetHardwareFillByte(unsigned char& byte) const noexcept;
    void DestroyHardwareBuffer();
    void FlushHardware();
    void InvalidateHardwareCache(Rect rect);
    void InvalidateHostCache(Rect rect);
    void SyncHostCache(Rect* rect, bool willOverwrite, bool* abort) const;
    bool SyncHardwareCache(void* device, Rect* rect, bool willOverwrite, bool* abort) const;
    void* RetainHardwareBuffer(void* device, bool* abort = nullptr) const;

protected:
    /// Makes Create() refuse other formats.
    void FixFormat() noexcept { m_isFormatFixed = true; }

    /// Copies the pixels to `copy`, which has the same size and format; false if `abort` was set
    /// meanwhile.
    bool CopyTo(DynamicBitmap& copy, bool* abort) const;

private:
    struct Caches;  // the device copy, the levels and the pending load, with their locks

    void Allocate(int width, int height, const PixelFormat& format);
    void ClearPixels() const noexcept;
    Kernel::Counted<const DynamicBitmap> MakeHalf() const;

    int m_width = 0;
    int m_height = 0;
    std::ptrdiff_t m_stride = 0;
    const PixelFormat* m_format;
    std::byte* m_pixels = nullptr;  // within m_memory, aligned
    std::unique_ptr<void, void (*)(void*)> m_memory;
    Kernel::Consolidated<ICCProfile> m_profile;
    MipmapMode m_mipmapMode = MipmapMode::None;
    HardwareCachePolicy m_policy = HardwareCachePolicy::Allowed;
    bool m_isFormatFixed = false;
    std::unique_ptr<Caches> m_caches;
};

}  // namespace Raster
