// Our library in the rows that convert, resample and search pixels.

#include "Raster/ICCManager.h"
#include "Raster/Pipeline.h"

#include "BitmapTransfer.h"

#include <algorithm>

namespace PixelPeers {
namespace {

using Raster::DynamicBitmap;
using Raster::Format;
using Raster::Sampler;

/// A run of the pipeline over the whole of new bitmaps.
Contender RunPipeline(Format from, Format to, const Raster::Rendering& rendering = {}) {
    return [=](const Task& task) {
        const auto source = LoadBitmap(task.source, task.size, from);
        const auto destination = MakeBitmap(task.target, to);
        const auto work = [=] {
            Raster::Pipeline<DynamicBitmap, DynamicBitmap>::Run(
                *destination, *source, nullptr, destination->GetBounds(), rendering);
        };
        return Run{work, [=, &task] { StoreBitmap(*destination, task.destination); }};
    };
}

bool AddResampling(const char* row, Sampler sampler) {
    Row resampling = GetRow(row);
    Raster::Rendering rendering;
    const Size from = resampling.sizes.front();
    rendering.transform = Raster::AffineTransform::Params::Scale(
        static_cast<double>(resampling.target.width) / from.width,
        static_cast<double>(resampling.target.height) / from.height);
    rendering.sampler = sampler;
    return AddRow(std::move(resampling), RunPipeline(Format::RGBA8, Format::RGBA8, rendering));
}

bool AddTurns() {
    return std::ranges::all_of(TurnRows, [](const TurnRow& turn) {
        Row row = GetRow(turn.name);
        const PlaneMap map = MakeTurn(turn.scale, row.sizes.front(), row.target);
        Raster::Rendering rendering;
        rendering.transform = {map.xx, map.xy, map.yx, map.yy, map.dx, map.dy};
        return AddRow(std::move(row), RunPipeline(Format::RGBA8, Format::RGBA8, rendering));
    });
}

bool AddColours(const char* row, Format format) {
    Raster::Rendering rendering;
    rendering.stages.push_back(Raster::ICCManager::CreateConversion(
                                   format,
                                   Raster::ICCManager::GetProfileForString("sRGB IEC61966-2.1"),
                                   format, Raster::ICCProfile::CreateFromBytes(MakeWideProfile()))
                                   .stage);
    return AddRow(GetRow(row), RunPipeline(format, format, rendering));
}

bool AddBox(const char* row) {
    return AddRow(GetRow(row), [](const Task& task) {
        const auto bitmap = LoadBitmap(task.source, task.size, Format::RGBA8);
        return Run{[=, &task] {
            const Raster::Rect box = bitmap->GetAlphaBoundingBox();
            std::memcpy(task.destination.As<int>(), &box, sizeof box);
        }};
    });
}

bool AddConversion(const char* row, Format from, Format to) {
    return AddRow(GetRow(row), RunPipeline(from, to));
}

// Deliberate: registered while the program starts, as BENCHMARK() does.
const bool IsAdded = AddConversion("Copy", Format::RGBAF, Format::RGBAF) &&
                     AddConversion("RGBA8ToRGBAF", Format::RGBA8, Format::RGBAF) &&
                     AddConversion("RGBAFToRGBA8", Format::RGBAF, Format::RGBA8) &&
                     AddConversion("RGBA8ToGreyA8", Format::RGBA8, Format::GreyA8) &&
                     AddConversion("RGBA16ToRGBA8", Format::RGBA16, Format::RGBA8) &&
                     AddConversion("RGBA8ToRGBA16", Format::RGBA8, Format::RGBA16) &&
                     AddConversion("CMYKA8ToRGBA8", Format::CMYKA8, Format::RGBA8) &&
                     AddConversion("RGBA8ToCMYKA8", Format::RGBA8, Format::CMYKA8) &&
                     AddResampling("ReduceArea", Sampler::Area) &&
                     AddResampling("ReduceAreaOfCutout", Sampler::Area) &&
                     AddResampling("ReduceBicubic", Sampler::Bicubic) &&
                     AddResampling("ReduceLanczos", Sampler::Lanczos) &&
                     AddResampling("EnlargeBicubic", Sampler::Bicubic) &&
                     AddResampling("EnlargeLanczos", Sampler::Lanczos) && AddTurns() &&
                     AddBox("AlphaBoxOfNothing") && AddBox("AlphaBoxOfIsland") &&
                     AddBox("AlphaBoxOfAll") && AddColours("ColoursOfRGBA8", Format::RGBA8) &&
                     AddColours("ColoursOfRGBAF", Format::RGBAF);

}  // namespace
}  // namespace PixelPeers
