#include "PixelRows.h"

#include <babl/babl.h>

namespace PixelPeers {

namespace {

Peer Convert(const char* row, const Babl* from, const Babl* to) {
    return {"babl", row, InPlace([=](const Task& task) {
                babl_process(babl_fish(from, to), task.source.As<void*>(),
                             task.destination.As<void*>(),
                             static_cast<long>(task.size.GetPixelCount()));
            })};
}

}  // namespace

std::vector<Peer> GetBablPeers() {
    babl_init();
    const Babl* const bytes = babl_format("R'G'B'A u8");
    const Babl* const shorts = babl_format("R'G'B'A u16");
    const Babl* const floats = babl_format("R'G'B'A float");
    const Babl* const wide = babl_space_from_chromaticities(
        "wide", 0.3127, 0.3290, 0.64, 0.33, 0.21, 0.71, 0.15, 0.06, babl_trc_gamma(2.19921875),
        nullptr, nullptr, BABL_SPACE_FLAG_EQUALIZE);
    return {Convert("RGBA8ToRGBAF", bytes, floats),
            Convert("RGBAFToRGBA8", floats, bytes),
            Convert("RGBA16ToRGBA8", shorts, bytes),
            Convert("RGBA8ToRGBA16", bytes, shorts),
            Convert("ColoursOfRGBA8", bytes, babl_format_with_space("R'G'B'A u8", wide)),
            Convert("ColoursOfRGBAF", floats, babl_format_with_space("R'G'B'A float", wide))};
}

}  // namespace PixelPeers
