// Our library in the rows between RGBA8 and the planes of a tensor, beside its peers.

#include "Learning/TensorImages.h"

#include "BitmapTransfer.h"

namespace PixelPeers {
namespace {

std::vector<int> GetShape(Size size) {
    return {1, 3, size.height, size.width};
}

Run Fill(const Task& task) {
    const auto bitmap = LoadBitmap(task.source, task.size, Raster::Format::RGBA8);
    const auto tensor = Kernel::MakeCounted<Learning::Tensor>(GetShape(task.size));
    return {[=] { Learning::FillTensorCHW(*tensor, *bitmap); },
            [=, &task] {
                for (std::size_t i = 0; i < task.size.GetPixelCount() * 3; ++i) {
                    task.destination.As<float>()[i] = tensor->GetValueAtIndexedSubscript(i);
                }
            }};
}

Run Read(const Task& task) {
    const auto bitmap = MakeBitmap(task.size, Raster::Format::RGBA8);
    const auto tensor = Kernel::MakeCounted<Learning::Tensor>(GetShape(task.size));
    for (std::size_t i = 0; i < task.size.GetPixelCount() * 3; ++i) {
        tensor->SetValueAtIndexedSubscript(i, task.source.As<float>()[i]);
    }
    return {[=] { Learning::ReadTensorCHW(*tensor, *bitmap); },
            [=, &task] { StoreBitmap(*bitmap, task.destination); }};
}

const bool IsAdded = AddRow(GetRow("RGBA8ToPlanar"), Fill) && AddRow(GetRow("PlanarToRGBA8"), Read);

}  // namespace
}  // namespace PixelPeers
