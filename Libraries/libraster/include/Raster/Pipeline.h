// One run of a pixel pipeline: from one bitmap into another, on a device or on the host.

#pragma once

#include "Raster/Hardware.h"
#include "Raster/Rendering.h"

namespace Raster {

/// Renders a source bitmap into a destination bitmap, under an optional mask bitmap. Everything
/// specific to a format is in its PixelFormat, so this is the order of work only; bitmaps have the
/// members of ModelBase, GetHostView() and GetPixelFormat(). Source and destination are different
/// bitmaps. Exceptions of a delayed load propagate.
///
/// Threads: source, mask and destination must not be written by other threads during a run. The
/// abort flag may be set by any thread, through std::atomic_ref<bool>.
template <class Destination, class Source, class Mask = Source>
class Pipeline {
public:
    /// Renders the pixels in `requested`, which is clipped to the destination. Returns false if the
    /// transform of `rendering` is not invertible, when nothing is done, and if `abort` was set,
    /// when the destination may be partly written.
    static bool Run(Destination& destination, const Source& source, const Mask* mask,
                    const Rect& requested, const Rendering& rendering = {}, bool* abort = nullptr);

private:
    static bool TryHardware(Destination& destination, const Source& source, const Mask* mask,
                            const Rect& rect, const Rendering& rendering, bool* abort);
    static bool RunKernel(KernelDescriptor& kernel, Destination& destination, const Source& source,
                          const Mask* mask, Rect rect, bool* abort);
    static bool RunOnHost(Destination& destination, const Source& source, const Mask* mask,
                          Rect rect, const Rendering& rendering, bool* abort);
};

/// Whether kernels support `rendering`: they only convert and mask, pixel by pixel.
inline bool IsForKernels(const Rendering& rendering) noexcept {
    return !rendering.transform && !rendering.reader && !rendering.writer &&
           rendering.stages.empty() && rendering.tally == nullptr &&
           rendering.blend == Blend::Replace;
}

template <class Destination, class Source, class Mask>
bool Pipeline<Destination, Source, Mask>::Run(Destination& destination, const Source& source,
                                              const Mask* mask, const Rect& requested,
                                              const Rendering& rendering, bool* abort) {
    const Rect rect =
        requested.Intersect({0, 0, destination.GetWidth(0), destination.GetHeight(0)});
    if (!IsPossible(rendering)) {
        return false;
    }
    if (rect.IsEmpty() || TryHardware(destination, source, mask, rect, rendering, abort)) {
        return true;
    }
    if (IsAborted(abort)) {
        return false;
    }
    // Deliberate: an attempt that was declined counts as a failure, too.
    Hardware<DefaultImplementation>::IncrementFailedKernels(destination.GetHardwareDevice());
    return RunOnHost(destination, source, mask, rect, rendering, abort);
}

template <class Destination, class Source, class Mask>
bool Pipeline<Destination, Source, Mask>::TryHardware(Destination& destination,
                                                      const Source& source, const Mask* mask,
                                                      const Rect& rect, const Rendering& rendering,
                                                      bool* abort) {
    const auto covers = [&rect](const auto& bitmap) {
        return rect.Intersect({0, 0, bitmap.GetWidth(0), bitmap.GetHeight(0)}) == rect;
    };
    // Checked before ShouldExecuteKernel(), which may open a device.
    const bool isForKernels =
        IsForKernels(rendering) && covers(source) && (mask == nullptr || covers(*mask));
    if (!isForKernels || !ShouldExecuteKernel(rect)) {
        return false;
    }
    KernelDescriptor kernel;
    kernel.device = destination.GetHardwareDevice();
    if (kernel.device == nullptr) {
        kernel.device = Hardware<DefaultImplementation>::GetDevice();
    }
    if (kernel.device == nullptr) {
        return false;
    }
    const HardwareKernelLanguage language = GetKernelLanguage(kernel.device);
    const bool isSame = &source.GetPixelFormat() == &destination.GetPixelFormat();
    kernel.conversionFragment = isSame && mask == nullptr ? GetIdentityConversionFragment(language)
                                                          : GetJointConversionFragment(language);
    kernel.perPixelFragment = KernelPerPixel<Horizontal>::GetHardwareFragment(language);
    kernel.source = {&source.GetPixelFormat(), source.GetPixelFormat().getSourceFragment(language),
                     source.GetSourceHardwareFragment(language)};
    kernel.destination = {&destination.GetPixelFormat(),
                          destination.GetPixelFormat().getDestFragment(language),
                          destination.GetDestHardwareFragment(language)};
    if (mask != nullptr) {
        kernel.mask = {&mask->GetPixelFormat(), mask->GetPixelFormat().getMaskFragment(language),
                       mask->GetMaskHardwareFragment(language)};
    }
    return kernel.IsComplete() && RunKernel(kernel, destination, source, mask, rect, abort);
}

template <class Destination, class Source, class Mask>
bool Pipeline<Destination, Source, Mask>::RunKernel(KernelDescriptor& kernel,
                                                    Destination& destination, const Source& source,
                                                    const Mask* mask, Rect rect, bool* abort) {
    const DeviceBuffer from(source.RetainHardwareBuffer(kernel.device, abort));
    const DeviceBuffer to(destination.RetainHardwareBuffer(kernel.device, abort));
    const DeviceBuffer through(mask != nullptr ? mask->RetainHardwareBuffer(kernel.device, abort)
                                               : nullptr);
    kernel.source.buffer = from.Get();
    kernel.destination.buffer = to.Get();
    kernel.mask.buffer = through.Get();
    const bool isReady =
        from && to && (mask == nullptr || through) &&
        source.SyncHardwareCache(kernel.device, nullptr, false, abort) &&
        destination.SyncHardwareCache(kernel.device, &rect, mask == nullptr, abort) &&
        (mask == nullptr || mask->SyncHardwareCache(kernel.device, nullptr, false, abort));
    if (!isReady || IsAborted(abort) || !ExecuteKernel(kernel, rect)) {
        return false;
    }
    destination.InvalidateHostCache(rect);
    return true;
}

template <class Destination, class Source, class Mask>
bool Pipeline<Destination, Source, Mask>::RunOnHost(Destination& destination, const Source& source,
                                                    const Mask* mask, Rect rect,
                                                    const Rendering& rendering, bool* abort) {
    source.SyncHostCache(nullptr, false, abort);
    if (IsAborted(abort)) {
        return false;
    }
    destination.SyncHostCache(&rect, mask == nullptr && rendering.blend == Blend::Replace, abort);
    if (IsAborted(abort)) {
        return false;
    }
    if (mask != nullptr) {
        mask->SyncHostCache(nullptr, false, abort);
        if (IsAborted(abort)) {
            return false;
        }
    }
    const ViewSource from(source.GetHostView(), rendering.reader);
    ViewTarget to(destination.GetHostView(), rendering.writer);
    const ViewSource through(mask != nullptr ? mask->GetHostView() : ConstPixelView{});
    RunHostPath({&from, &to, mask != nullptr ? &through : nullptr, &rendering, abort}, rect);
    // Deliberate: the pixels of an aborted run are discarded, so the device copy is not marked
    // stale.
    if (IsAborted(abort)) {
        return false;
    }
    destination.InvalidateHardwareCache(rect);
    return true;
}

}  // namespace Raster
