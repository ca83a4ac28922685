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

/// Whether a bitmap has smaller versions of itself.
enum class MipmapMode : std::uint8_t {
    None,
    OnDemand,  // each level half as wide and high, made when it is first asked for
};

enum class HardwareCachePolicy : std::uint8_t {
    Allowed,  // a device copy is made when a kernel runs
    Never,
};

/// Brings the pixels of a bitmap when they are first needed, on the thread that needs them.
class RASTER_API DelayLoader {
public:
    virtual ~DelayLoader();
    /// Fills all of `pixels`, which are transparent, or throws. May return early once
    /// IsAborted(abort); what was written is dropped then.
    virtual void Load(const PixelView& pixels, const bool* abort) = 0;
};

/// Rows of pixels of one format from the top, on the host and, where kernels ran on it, on a
/// device. Row starts are multiples of 64 bytes, and not a multiple of 4096 bytes apart. A new
/// bitmap is transparent: all bytes are zero.
///
/// At any moment one of the two copies may be out of date within a rectangle: SyncHostCache() and
/// SyncHardwareCache() bring it up to date, InvalidateHostCache() and InvalidateHardwareCache()
/// tell that the other one was written. Pipelines call them; whoever goes to the pixels directly
/// does so through a pixel accessor.
///
/// Errors: std::invalid_argument for a negative size or one above MaximumSide, std::bad_alloc.
/// A size of 0 is a bitmap without pixels.
///
/// Threads: any number may read at a time, pipelines included; writing is for one run at a time.
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

    /// Becomes a transparent bitmap of that size without profile; what was there is gone. A Bitmap
    /// throws std::invalid_argument for a format that is not its own, and stays as it is.
    void Create(int width, int height, Format format = Format::RGBA8);

    /// A copy, profile included; null if `abort` was set meanwhile.
    Kernel::Counted<DynamicBitmap> Clone(bool* abort = nullptr) const;
    /// A transparent bitmap of the same size, format and profile.
    Kernel::Counted<DynamicBitmap> CloneEmpty() const;

    /// The smallest rectangle around all pixels that are not fully transparent. All zeros if there
    /// are none.
    Rect GetAlphaBoundingBox() const;
    /// The smallest rectangle around all pixels that are not fully opaque; EmptyRect if there are
    /// none.
    Rect GetInverseAlphaBoundingBox() const;

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
    /// The colour space of the pixels; empty if nobody said.
    Kernel::Consolidated<ICCProfile> GetProfile() const { return m_profile; }
    void SetProfile(Kernel::Consolidated<ICCProfile> profile);

    /// The host's pixels, current or not.
    PixelView GetHostView() noexcept;
    ConstPixelView GetHostView() const noexcept;

    /// Drops the pixels, and has `loader` bring others when they are first needed; null for nobody.
    void SetDelayLoader(std::unique_ptr<DelayLoader> loader);
    bool IsPendingDelayLoad() const noexcept;
    /// Has a pending load done now. What the loader throws is thrown here; then, and when `abort`
    /// is set meanwhile, the load stays pending for whoever needs the pixels next.
    void ForceDelayLoad(const bool* abort = nullptr) const;

    /// Whether size, format and all pixels are equal.
    bool IsEqual(const DynamicBitmap& other) const;
    void AccumulateHashFast(Kernel::HashAccumulator& hash) const;
    Kernel::FixCorruptionsResult CheckForCorruptions(bool isThorough) const;
    Kernel::FixCorruptionsResult FixCorruptions();

    // As ModelBase tells. Bringing a copy up to date includes a pending load, and only that ends
    // early when `abort` is set.
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
    /// Has Create() refuse other formats from here on.
    void FixFormat() noexcept { m_isFormatFixed = true; }

    /// Gives `copy`, which has the same size and format, the pixels; false if `abort` was set
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
