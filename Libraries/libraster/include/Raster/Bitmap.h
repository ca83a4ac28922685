// Bitmaps whose pixel format is known at compile time.

#pragma once

#include "Raster/DynamicBitmap.h"
#include "Raster/FormatTraits.h"
#include "Raster/ModelBase.h"
#include "Raster/Pixel.h"

namespace Raster {

/// A bitmap of the format with these channels. It is a DynamicBitmap, too, so it is shared without
/// a copy with code for which the format is dynamic; Create() refuses another format there, too.
template <class C1, class C2, class C3, class C4, class C5>
class Bitmap : public DynamicBitmap,
               public ModelBase<Bitmap<C1, C2, C3, C4, C5>, C1, C2, C3, C4, C5> {
public:
    using PixelType = Pixel<C1, C2, C3, C4, C5>;

    Bitmap() : Bitmap(0, 0) {}
    Bitmap(int width, int height, MipmapMode mipmapMode = MipmapMode::None,
           HardwareCachePolicy policy = HardwareCachePolicy::Allowed)
        : DynamicBitmap(width, height, GetStaticFormat(), mipmapMode, policy) {
        FixFormat();
    }

    static const PixelFormat& GetStaticFormat() noexcept {
        return FormatTraits<C1, C2, C3, C4, C5>::GetPixelFormat();
    }
    static Kernel::String GetDescription() {
        return DescribeChannels("Bitmap", ChannelFactsOf<C1, C2, C3, C4, C5>);
    }
    static Format GetFormat() noexcept { return GetStaticFormat().code; }

    /// As DynamicBitmap::Create(), in this format.
    void Create(int width, int height) { DynamicBitmap::Create(width, height, GetFormat()); }
    Kernel::Counted<Bitmap> Clone(bool* abort = nullptr) const;
    Kernel::Counted<Bitmap> CloneEmpty() const;

    // Prefers these members to those of ModelBase.
    using DynamicBitmap::AccumulateHashFast;
    using DynamicBitmap::CheckForCorruptions;
    using DynamicBitmap::DestroyHardwareBuffer;
    using DynamicBitmap::FixCorruptions;
    using DynamicBitmap::FlushHardware;
    using DynamicBitmap::GetDestHardwareFragment;
    using DynamicBitmap::GetHardwareDevice;
    using DynamicBitmap::GetHardwareFillByte;
    using DynamicBitmap::GetHardwareParams;
    using DynamicBitmap::GetHardwareWriteQueue;
    using DynamicBitmap::GetHeight;
    using DynamicBitmap::GetMaskHardwareFragment;
    using DynamicBitmap::GetProfile;
    using DynamicBitmap::GetSourceHardwareFragment;
    using DynamicBitmap::GetThreadLimit;
    using DynamicBitmap::GetWidth;
    using DynamicBitmap::InvalidateHardwareCache;
    using DynamicBitmap::InvalidateHostCache;
    using DynamicBitmap::IsEqual;
    using DynamicBitmap::RetainHardwareBuffer;
    using DynamicBitmap::SyncHardwareCache;
    using DynamicBitmap::SyncHostCache;
};

// In this order: the base is instantiated with the class itself.
#define RASTER_FORMAT(NAME, CODE, ...)                            \
    RASTER_TEMPLATE(ModelBase<Bitmap<__VA_ARGS__>, __VA_ARGS__>); \
    RASTER_TEMPLATE(Bitmap<__VA_ARGS__>);
#include "Raster/HostFormats.inc"

}  // namespace Raster
