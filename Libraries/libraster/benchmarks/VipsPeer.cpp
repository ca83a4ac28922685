#include "PixelRows.h"

#include <vips/vips.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace PixelPeers {

namespace {

VipsImage* GetSource(const Task& task) {
    return vips_image_new_from_memory(task.source.As<void>(), task.source.GetSize(),
                                      task.size.width, task.size.height, 4, VIPS_FORMAT_UCHAR);
}

/// Computes `result`, unless making it has `failed`, into the destination, and releases it.
void Deliver(const Task& task, int failed, VipsImage* result) {
    VipsImage* const memory =
        vips_image_new_from_memory(task.destination.As<void>(), task.destination.GetSize(),
                                   task.target.width, task.target.height, 4, VIPS_FORMAT_UCHAR);
    if (failed != 0 || vips_image_write(result, memory) != 0) {
        throw std::runtime_error(vips_error_buffer());
    }
    g_object_unref(memory);
    g_object_unref(result);
}

/// Means of two pixels, as 4000 is two and a part of 1536, then Lanczos for the rest.
void Shrink(const Task& task) {
    VipsImage* const source = GetSource(task);
    VipsImage* shrunk = nullptr;
    const int failed =
        vips_shrink(source, &shrunk, static_cast<double>(task.size.width) / task.target.width,
                    static_cast<double>(task.size.height) / task.target.height, nullptr);
    Deliver(task, failed, shrunk);
    g_object_unref(source);
}

/// Lanczos all the way.
void Reduce(const Task& task) {
    VipsImage* const source = GetSource(task);
    VipsImage* reduced = nullptr;
    const int failed =
        vips_resize(source, &reduced, static_cast<double>(task.target.width) / task.size.width,
                    "vscale", static_cast<double>(task.target.height) / task.size.height, nullptr);
    Deliver(task, failed, reduced);
    g_object_unref(source);
}

/// By vips_affine(), which only looks at the four nearest pixels, however much the picture shrinks.
Peer Turn(const TurnRow& row) {
    const double scale = row.scale;
    return {"libvips", row.name, InPlace([scale](const Task& task) {
                const PlaneMap map = MakeTurn(scale, task.size, task.target);
                VipsImage* const source = GetSource(task);
                VipsImage* turned = nullptr;
                VipsArrayInt* const area =
                    vips_array_int_newv(4, 0, 0, task.target.width, task.target.height);
                // Pixels lie at whole coordinates here.
                const int failed =
                    vips_affine(source, &turned, map.xx, map.xy, map.yx, map.yy, "oarea", area,
                                "odx", map.dx + (map.xx + map.xy - 1) / 2, "ody",
                                map.dy + (map.yx + map.yy - 1) / 2, nullptr);
                Deliver(task, failed, turned);
                vips_area_unref(VIPS_AREA(area));
                g_object_unref(source);
            })};
}

}  // namespace

std::vector<Peer> GetVipsPeers() {
    if (vips_init("PixelPeers") != 0) {
        return {};
    }
    vips_concurrency_set(GetThreadCount());
    vips_cache_set_max(0);  // or it would only work once
    std::vector<Peer> peers{{"libvips-shrink", "RenderForService", InPlace(Shrink)},
                            {"libvips-resize", "RenderForService", InPlace(Reduce)}};
    std::ranges::transform(TurnRows, std::back_inserter(peers), Turn);
    return peers;
}

}  // namespace PixelPeers
