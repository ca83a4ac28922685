#include "hardware/DeviceImage.h"

#include "hardware/Device.h"

#include <algorithm>
#include <array>

namespace Raster {

namespace {

constexpr std::size_t SmallestBuffer = 64;  // OpenCL has no empty ones

OpenCLMemory Allocate(const Device& device, const PixelView& layout) {
    const std::size_t size =
        static_cast<std::size_t>(layout.stride) * static_cast<std::size_t>(layout.height);
    cl_int code = CL_SUCCESS;
    OpenCLMemory memory(GetOpenCL().CreateBuffer(device.GetContext(), CL_MEM_READ_WRITE,
                                                 std::max(size, SmallestBuffer), nullptr, &code));
    CheckOpenCL("clCreateBuffer", code);
    return memory;
}

/// A rectangle of bytes as OpenCL takes it.
struct Block {
    Block(const PixelView& view, const Rect& rect) noexcept
        : origin{static_cast<std::size_t>(rect.left) * view.format->GetPixelSize(),
                 static_cast<std::size_t>(rect.top), 0},
          size{static_cast<std::size_t>(rect.GetWidth()) * view.format->GetPixelSize(),
               static_cast<std::size_t>(rect.GetHeight()), 1},
          stride(static_cast<std::size_t>(view.stride)) {}

    std::array<std::size_t, 3> origin;
    std::array<std::size_t, 3> size;
    std::size_t stride;
};

}  // namespace

DeviceImage::DeviceImage(Device& device, const PixelView& layout)
    : m_device(device),
      m_stride(layout.stride),
      m_bounds(layout.GetBounds()),
      m_memory(Allocate(device, layout)) {}

void DeviceImage::Upload(const PixelView& host, const Rect& rect) {
    const Block block(host, rect);
    CheckOpenCL("clEnqueueWriteBufferRect",
                GetOpenCL().EnqueueWriteBufferRect(m_device.GetQueue(), GetMemory(), CL_TRUE,
                                                   block.origin.data(), block.origin.data(),
                                                   block.size.data(), block.stride, 0, block.stride,
                                                   0, host.pixels, 0, nullptr, nullptr));
}

void DeviceImage::Download(const PixelView& host, const Rect& rect) const {
    const Block block(host, rect);
    CheckOpenCL("clEnqueueReadBufferRect",
                GetOpenCL().EnqueueReadBufferRect(m_device.GetQueue(), GetMemory(), CL_TRUE,
                                                  block.origin.data(), block.origin.data(),
                                                  block.size.data(), block.stride, 0, block.stride,
                                                  0, host.pixels, 0, nullptr, nullptr));
}

}  // namespace Raster
