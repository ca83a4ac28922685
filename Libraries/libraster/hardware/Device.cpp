#include "hardware/Device.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/NeverDestroyed.h"

#include "hardware/DeviceImage.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace Raster {

namespace {

constexpr std::size_t GroupWidth =
    64;  // work items of a group; of one row, so that memory accesses coalesce

/// All devices that were ever used.
struct Registry {
    Kernel::CriticalSection section;
    std::vector<std::unique_ptr<Device>> devices;
};

Registry& GetRegistry() {
    static Kernel::NeverDestroyed<Registry> registry;  // never destroyed, see Device
    return *registry;
}

template <class Value>
Value GetInfo(cl_device_id id, cl_device_info name) {
    Value value{};
    CheckOpenCL("clGetDeviceInfo",
                GetOpenCL().GetDeviceInfo(id, name, sizeof(value), &value, nullptr));
    return value;
}

std::string GetText(cl_device_id id, cl_device_info name) {
    std::size_t size = 0;
    CheckOpenCL("clGetDeviceInfo", GetOpenCL().GetDeviceInfo(id, name, 0, nullptr, &size));
    std::string text(size, '\0');
    CheckOpenCL("clGetDeviceInfo", GetOpenCL().GetDeviceInfo(id, name, size, text.data(), nullptr));
    return text.c_str();  // up to the terminating zero
}

/// Whether the device's float arithmetic is bit-exact with the host's, and it can run our kernels.
bool IsSuitable(cl_device_id id) {
    constexpr cl_device_fp_config Precision =
        CL_FP_CORRECTLY_ROUNDED_DIVIDE_SQRT | CL_FP_DENORM | CL_FP_INF_NAN | CL_FP_ROUND_TO_NEAREST;
    const auto precision = GetInfo<cl_device_fp_config>(id, CL_DEVICE_SINGLE_FP_CONFIG);
    return (precision & Precision) == Precision && GetInfo<cl_bool>(id, CL_DEVICE_AVAILABLE) &&
           GetInfo<cl_bool>(id, CL_DEVICE_COMPILER_AVAILABLE) &&
           GetInfo<cl_bool>(id, CL_DEVICE_ENDIAN_LITTLE) &&
           GetInfo<std::size_t>(id, CL_DEVICE_MAX_WORK_GROUP_SIZE) >= GroupWidth;
}

/// An OpenCL list, queried in two calls: the count, then the items. Empty on failure, which is also
/// what OpenCL reports for an empty list.
template <class Item, class List>
std::vector<Item> GetItems(List list) {
    cl_uint count = 0;
    if (list(0, nullptr, &count) != CL_SUCCESS) {
        return {};
    }
    std::vector<Item> items(count);
    if (count == 0 || list(count, items.data(), nullptr) != CL_SUCCESS) {
        return {};
    }
    return items;
}

std::vector<cl_device_id> GetDeviceIds(cl_device_type type) {
    std::vector<cl_device_id> all;
    for (const cl_platform_id platform : GetItems<cl_platform_id>(GetOpenCL().GetPlatformIDs)) {
        const auto ids = GetItems<cl_device_id>([&](auto... arguments) {
            return GetOpenCL().GetDeviceIDs(platform, type, arguments...);
        });
        all.insert(all.end(), ids.begin(), ids.end());
    }
    return all;
}

/// The device of that id; null if it is not suitable or, with a line in the log, fails.
Device* Open(cl_device_id id) {
    Registry& registry = GetRegistry();
    const Kernel::ScopedLock lock(registry.section);
    for (const std::unique_ptr<Device>& device : registry.devices) {
        if (device->GetId() == id) {
            return device.get();
        }
    }
    try {
        if (!IsSuitable(id)) {
            return nullptr;
        }
        registry.devices.push_back(std::make_unique<Device>(id));
        return registry.devices.back().get();
    } catch (const OpenCLError& error) {
        Kernel::Log::Write("An OpenCL device can't be used: %1\n", error.what());
        return nullptr;
    }
}

Device* OpenFirst(cl_device_type type) {
    for (const cl_device_id id : GetDeviceIds(type)) {
        Device* const device = Open(id);
        if (device != nullptr && !device->IsDisabled()) {
            return device;
        }
    }
    return nullptr;
}

OpenCLContext MakeContext(cl_device_id id) {
    cl_int code = CL_SUCCESS;
    OpenCLContext context(GetOpenCL().CreateContext(nullptr, 1, &id, nullptr, nullptr, &code));
    CheckOpenCL("clCreateContext", code);
    return context;
}

OpenCLQueue MakeQueue(cl_context context, cl_device_id id) {
    cl_int code = CL_SUCCESS;
    OpenCLQueue queue(GetOpenCL().CreateCommandQueue(context, id, 0, &code));
    CheckOpenCL("clCreateCommandQueue", code);
    return queue;
}

/// Sets the arguments of a kernel one after the other.
class Arguments {
public:
    explicit Arguments(cl_kernel kernel) noexcept : m_kernel(kernel) {}

    template <class Value>
    void Add(const Value& value) {
        constexpr std::size_t Size =
            sizeof(Value);  // NOLINT(bugprone-sizeof-expression): of a handle
        CheckOpenCL("clSetKernelArg", GetOpenCL().SetKernelArg(m_kernel, m_next++, Size, &value));
    }
    void Add(const KernelImage& image) {
        const auto& pixels = *static_cast<const DeviceImage*>(image.buffer);
        Add(pixels.GetMemory());
        Add(pixels.GetStride());
    }

private:
    cl_kernel m_kernel;
    cl_uint m_next = 0;
};

}  // namespace

Device::Device(cl_device_id id)
    : m_id(id),
      m_name(GetText(id, CL_DEVICE_NAME)),
      m_largestBuffer(
          static_cast<std::size_t>(GetInfo<cl_ulong>(id, CL_DEVICE_MAX_MEM_ALLOC_SIZE))),
      m_context(MakeContext(id)),
      m_queue(MakeQueue(m_context.Get(), id)),
      m_identity(Kernel::MakeCounted<DeviceImage>(*this, PixelView{})) {}

Device::~Device() = default;

Device* Device::Choose(HardwareUse use) {
    if (use == HardwareUse::Never || (use == HardwareUse::GPUs && !HasDisplayDevice()) ||
        FindOpenCL() == nullptr) {
        return nullptr;
    }
    Device* const device = OpenFirst(CL_DEVICE_TYPE_GPU);
    return device == nullptr && use == HardwareUse::AnyDevice ? OpenFirst(CL_DEVICE_TYPE_ALL)
                                                              : device;
}

Device* Device::Find(void* handle) {
    Registry& registry = GetRegistry();
    const Kernel::ScopedLock lock(registry.section);
    const auto found = std::find_if(registry.devices.begin(), registry.devices.end(),
                                    [&](const auto& device) { return device.get() == handle; });
    return found != registry.devices.end() && !(*found)->IsDisabled() ? found->get() : nullptr;
}

void Device::HandleError(const OpenCLError& error) noexcept {
    if (!error.IsOutOfMemory() && !m_isDisabled.exchange(true)) {
        Kernel::Log::Write("The OpenCL device %1 is no longer used: %2\n", m_name, error.what());
    }
}

bool Device::IsKnownToFail(const KernelDescriptor& descriptor) {
    const Kernel::ScopedLock lock(m_section);
    const auto found = m_programs.find(GetKernelKey(descriptor));
    return found != m_programs.end() && !found->second;
}

const KernelProgram* Device::FindProgram(const KernelDescriptor& descriptor) {
    const KernelKey key = GetKernelKey(descriptor);
    if (const auto found = m_programs.find(key); found != m_programs.end()) {
        return found->second.get();
    }
    std::unique_ptr<KernelProgram> program;
    try {
        program = std::make_unique<KernelProgram>(*this, JoinFragments(descriptor));
    } catch (const KernelBuildError& error) {
        Kernel::Log::Write("A kernel for the OpenCL device %1 can't be built: %2\n", m_name,
                           error.what());
    }
    return m_programs.emplace(key, std::move(program)).first->second.get();
}

bool Device::Run(const KernelDescriptor& descriptor, const Rect& rect) {
    OpenCLEvent end;
    {
        const Kernel::ScopedLock lock(m_section);
        const KernelProgram* const program = FindProgram(descriptor);
        if (program == nullptr) {
            return false;
        }
        end = Enqueue(program->GetKernel(), descriptor, rect);
    }
    CheckOpenCL("clFlush", GetOpenCL().Flush(GetQueue()));
    const cl_event event = end.Get();
    CheckOpenCL("clWaitForEvents", GetOpenCL().WaitForEvents(1, &event));
    return true;
}

OpenCLEvent Device::Enqueue(cl_kernel kernel, const KernelDescriptor& descriptor,
                            const Rect& rect) {
    Arguments arguments(kernel);
    arguments.Add(descriptor.source);
    arguments.Add(descriptor.destination);
    if (descriptor.mask.format != nullptr) {
        arguments.Add(descriptor.mask);
    }
    arguments.Add(cl_int4{{rect.left, rect.top, rect.right, rect.bottom}});
    const auto width = static_cast<std::size_t>(rect.GetWidth());
    const std::array<std::size_t, 2> group{GroupWidth, 1};
    const std::array<std::size_t, 2> items{(width + GroupWidth - 1) / GroupWidth * GroupWidth,
                                           static_cast<std::size_t>(rect.GetHeight())};
    cl_event event = nullptr;
    CheckOpenCL("clEnqueueNDRangeKernel",
                GetOpenCL().EnqueueNDRangeKernel(GetQueue(), kernel, 2, nullptr, items.data(),
                                                 group.data(), 0, nullptr, &event));
    return OpenCLEvent(event);
}

}  // namespace Raster
