// A plug-in execution provider that makes a GPU and an NPU out of nothing, so that a test can see
// which device the runtime chose. Each device takes every Add and gets the sum wrong by an amount
// of its own. Written against the runtime's C API alone, as plug-ins are: see
// onnxruntime_ep_c_api.h.
//
// The runtime (1.24 or newer) lets a plug-in make devices only if its name ends in ".virtual".

#include <onnxruntime_c_api.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr std::uint32_t ApiVersion = 23;
constexpr float GpuError = 2000;
constexpr float NpuError = 3000;

const OrtApi* api = nullptr;
const OrtEpApi* epApi = nullptr;

#if ORT_API_VERSION >= 24
using DeviceMaker = OrtEpApi;
#else
/// The entry that version 24 appended to the table of version 23.
struct DeviceMaker : OrtEpApi {
    OrtStatus*(ORT_API_CALL* CreateHardwareDevice)(OrtHardwareDeviceType type,
                                                   std::uint32_t vendorId, std::uint32_t deviceId,
                                                   const char* vendor,
                                                   const OrtKeyValuePairs* metadata,
                                                   OrtHardwareDevice** device);
    void(ORT_API_CALL* ReleaseHardwareDevice)(OrtHardwareDevice* device);
};
#endif

/// Ends the enclosing function with the first status that is no success.
#define RETURN_IF_FAILED(call)             \
    if (OrtStatus* const failure = (call)) \
    return failure

/// The one thing that this provider computes: a + b + error, for inputs of one shape.
struct WrongAdd : OrtNodeComputeInfo {
    explicit WrongAdd(float ownError) : OrtNodeComputeInfo{}, error(ownError) {
        ort_version_supported = ApiVersion;
        CreateState = [](OrtNodeComputeInfo*, OrtNodeComputeContext*, void** state) -> OrtStatus* {
            *state = nullptr;
            return nullptr;
        };
        ReleaseState = [](OrtNodeComputeInfo*, void*) {};
        Compute = [](OrtNodeComputeInfo* self, void*, OrtKernelContext* context) {
            return static_cast<WrongAdd*>(self)->Run(context);
        };
    }

    OrtStatus* Run(OrtKernelContext* context) const {
        const OrtValue* inputs[2] = {};
        void* data[3] = {};
        for (std::size_t i = 0; i < 2; ++i) {
            RETURN_IF_FAILED(api->KernelContext_GetInput(context, i, &inputs[i]));
            RETURN_IF_FAILED(api->GetTensorMutableData(const_cast<OrtValue*>(inputs[i]), &data[i]));
        }
        OrtTensorTypeAndShapeInfo* info = nullptr;
        RETURN_IF_FAILED(api->GetTensorTypeAndShape(inputs[0], &info));
        const std::unique_ptr<OrtTensorTypeAndShapeInfo,
                              decltype(OrtApi::ReleaseTensorTypeAndShapeInfo)>
            owner(info, api->ReleaseTensorTypeAndShapeInfo);
        std::size_t rank = 0;
        std::size_t count = 0;
        RETURN_IF_FAILED(api->GetDimensionsCount(info, &rank));
        RETURN_IF_FAILED(api->GetTensorShapeElementCount(info, &count));
        std::vector<std::int64_t> dims(rank);
        RETURN_IF_FAILED(api->GetDimensions(info, dims.data(), rank));
        OrtValue* output = nullptr;
        RETURN_IF_FAILED(api->KernelContext_GetOutput(context, 0, dims.data(), rank, &output));
        RETURN_IF_FAILED(api->GetTensorMutableData(output, &data[2]));
        for (std::size_t i = 0; i < count; ++i) {
            static_cast<float*>(data[2])[i] =
                static_cast<float*>(data[0])[i] + static_cast<float*>(data[1])[i] + error;
        }
        return nullptr;
    }

    float error;
};

struct Provider : OrtEp {
    Provider(const char* ownName, float ownError) : OrtEp{}, name(ownName), error(ownError) {
        ort_version_supported = ApiVersion;
        GetName = [](const OrtEp* self) noexcept {
            return static_cast<const Provider*>(self)->name;
        };
        GetCapability = [](OrtEp*, const OrtGraph* graph, OrtEpGraphSupportInfo* support) noexcept {
            return TakeAdds(graph, support);
        };
        Compile = [](OrtEp* self, const OrtGraph**, const OrtNode**, std::size_t count,
                     OrtNodeComputeInfo** infos, OrtNode**) noexcept -> OrtStatus* {
            for (std::size_t i = 0; i < count; ++i) {
                infos[i] = new WrongAdd(static_cast<Provider*>(self)->error);
            }
            return nullptr;
        };
        ReleaseNodeComputeInfos = [](OrtEp*, OrtNodeComputeInfo** infos,
                                     std::size_t count) noexcept {
            for (std::size_t i = 0; i < count; ++i) {
                delete static_cast<WrongAdd*>(infos[i]);
            }
        };
    }

    static OrtStatus* TakeAdds(const OrtGraph* graph, OrtEpGraphSupportInfo* support) {
        std::size_t count = 0;
        RETURN_IF_FAILED(api->Graph_GetNumNodes(graph, &count));
        std::vector<const OrtNode*> nodes(count);
        RETURN_IF_FAILED(api->Graph_GetNodes(graph, nodes.data(), count));
        for (const OrtNode* const node : nodes) {
            const char* type = nullptr;
            RETURN_IF_FAILED(api->Node_GetOperatorType(node, &type));
            if (std::strcmp(type, "Add") == 0) {
                OrtNodeFusionOptions options{};
                options.ort_version_supported = ApiVersion;
                RETURN_IF_FAILED(
                    epApi->EpGraphSupportInfo_AddNodesToFuse(support, &node, 1, &options));
            }
        }
        return nullptr;
    }

    const char* name;
    float error;
};

struct Factory : OrtEpFactory {
    Factory(const char* ownName, OrtHardwareDeviceType ownType)
        : OrtEpFactory{}, name(ownName), type(ownType) {
        ort_version_supported = ApiVersion;
        GetName = [](const OrtEpFactory* self) noexcept {
            return static_cast<const Factory*>(self)->name;
        };
        GetVendor = [](const OrtEpFactory*) noexcept { return "Nobody"; };
        GetVendorId = [](const OrtEpFactory*) noexcept -> std::uint32_t { return 0xfa4e; };
        GetVersion = [](const OrtEpFactory*) noexcept { return "1.0.0"; };
        GetSupportedDevices = [](OrtEpFactory* self, const OrtHardwareDevice* const*, std::size_t,
                                 OrtEpDevice** devices, std::size_t capacity,
                                 std::size_t* count) noexcept {
            return static_cast<Factory*>(self)->OfferDevice(devices, capacity, count);
        };
        CreateEp = [](OrtEpFactory* self, const OrtHardwareDevice* const*,
                      const OrtKeyValuePairs* const*, std::size_t, const OrtSessionOptions*,
                      const OrtLogger*, OrtEp** provider) noexcept -> OrtStatus* {
            const auto& factory = *static_cast<Factory*>(self);
            *provider = new Provider(
                factory.name, factory.type == OrtHardwareDeviceType_GPU ? GpuError : NpuError);
            return nullptr;
        };
        ReleaseEp = [](OrtEpFactory*, OrtEp* provider) noexcept {
            delete static_cast<Provider*>(provider);
        };
        // The runtime asks for these whatever a provider can do: null means "as on the CPU".
        CreateDataTransfer = [](OrtEpFactory*, OrtDataTransferImpl** transfer) noexcept {
            *transfer = nullptr;
            return static_cast<OrtStatus*>(nullptr);
        };
        IsStreamAware = [](const OrtEpFactory*) noexcept { return false; };
    }
    ~Factory() {
        if (device != nullptr) {
            static_cast<const DeviceMaker*>(epApi)->ReleaseHardwareDevice(device);
        }
    }

    OrtStatus* OfferDevice(OrtEpDevice** devices, std::size_t capacity, std::size_t* count) {
        *count = 0;
        if (capacity == 0) {
            return nullptr;
        }
        const auto& maker = *static_cast<const DeviceMaker*>(epApi);
        RETURN_IF_FAILED(maker.CreateHardwareDevice(type, 0xfa4e, 1, "Nobody", nullptr, &device));
        RETURN_IF_FAILED(epApi->CreateEpDevice(this, device, nullptr, nullptr, &devices[0]));
        *count = 1;
        return nullptr;
    }

    const char* name;
    OrtHardwareDeviceType type;
    OrtHardwareDevice* device = nullptr;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) OrtStatus* CreateEpFactories(
    const char* /*registrationName*/, const OrtApiBase* base, const OrtLogger* /*logger*/,
    OrtEpFactory** factories, std::size_t capacity, std::size_t* count) {
    api = base->GetApi(ApiVersion);
    epApi = api->GetEpApi();
    if (base->GetApi(24) == nullptr) {
        return api->CreateStatus(ORT_NOT_IMPLEMENTED, "this runtime lets nobody make devices");
    }
    if (capacity < 2) {
        return api->CreateStatus(ORT_INVALID_ARGUMENT, "there are two factories");
    }
    factories[0] = new Factory("FakeGpu", OrtHardwareDeviceType_GPU);
    factories[1] = new Factory("FakeNpu", OrtHardwareDeviceType_NPU);
    *count = 2;
    return nullptr;
}

extern "C" __attribute__((visibility("default"))) OrtStatus* ReleaseEpFactory(
    OrtEpFactory* factory) {
    delete static_cast<Factory*>(factory);
    return nullptr;
}
