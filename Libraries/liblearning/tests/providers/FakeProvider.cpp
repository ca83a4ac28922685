// A plug-in execution provider that makes a GPU and an NPU out of nothing, so that a test can see
// which device the runtime chose. Each device takes all of a model and then fails to run it, with
// its own name as the reason. Written against the runtime's C API alone, as plug-ins are: see
// onnxruntime_ep_c_api.h.
//
// The runtime (1.24 or newer) lets a plug-in make devices only if its name ends in ".virtual".

#include <onnxruntime_c_api.h>

#include <cstdint>
#include <vector>

namespace {

constexpr std::uint32_t ApiVersion = 23;

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

/// A provider, and what it makes of all nodes of a model.
struct Provider : OrtEp, OrtNodeComputeInfo {
    explicit Provider(const char* ownName) : OrtEp{}, OrtNodeComputeInfo{}, name(ownName) {
        OrtEp::ort_version_supported = ApiVersion;
        GetName = [](const OrtEp* self) noexcept {
            return static_cast<const Provider*>(self)->name;
        };
        GetCapability = [](OrtEp*, const OrtGraph* graph, OrtEpGraphSupportInfo* support) noexcept {
            return TakeAllNodes(graph, support);
        };
        Compile = [](OrtEp* self, const OrtGraph**, const OrtNode**, std::size_t,
                     OrtNodeComputeInfo** infos, OrtNode**) noexcept -> OrtStatus* {
            infos[0] = static_cast<Provider*>(self);
            return nullptr;
        };
        ReleaseNodeComputeInfos = [](OrtEp*, OrtNodeComputeInfo**, std::size_t) noexcept {};

        OrtNodeComputeInfo::ort_version_supported = ApiVersion;
        CreateState = [](OrtNodeComputeInfo*, OrtNodeComputeContext*, void**) -> OrtStatus* {
            return nullptr;
        };
        ReleaseState = [](OrtNodeComputeInfo*, void*) {};
        Compute = [](OrtNodeComputeInfo* self, void*, OrtKernelContext*) {
            return api->CreateStatus(ORT_FAIL, static_cast<Provider*>(self)->name);
        };
    }

    static OrtStatus* TakeAllNodes(const OrtGraph* graph, OrtEpGraphSupportInfo* support) {
        std::size_t count = 0;
        RETURN_IF_FAILED(api->Graph_GetNumNodes(graph, &count));
        std::vector<const OrtNode*> nodes(count);
        RETURN_IF_FAILED(api->Graph_GetNodes(graph, nodes.data(), count));
        return epApi->EpGraphSupportInfo_AddNodesToFuse(support, nodes.data(), count, nullptr);
    }

    const char* name;
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
                                 OrtEpDevice** devices, std::size_t, std::size_t* count) noexcept {
            return static_cast<Factory*>(self)->OfferDevice(devices, count);
        };
        CreateEp = [](OrtEpFactory* self, const OrtHardwareDevice* const*,
                      const OrtKeyValuePairs* const*, std::size_t, const OrtSessionOptions*,
                      const OrtLogger*, OrtEp** provider) noexcept -> OrtStatus* {
            *provider = new Provider(static_cast<Factory*>(self)->name);
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

    OrtStatus* OfferDevice(OrtEpDevice** devices, std::size_t* count) {
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
    OrtEpFactory** factories, std::size_t /*capacity*/, std::size_t* count) {
    api = base->GetApi(ApiVersion);
    epApi = api->GetEpApi();
    if (base->GetApi(24) == nullptr) {
        return api->CreateStatus(ORT_NOT_IMPLEMENTED, "this runtime lets nobody make devices");
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
