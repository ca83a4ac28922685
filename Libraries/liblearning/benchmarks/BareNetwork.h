// The inference runtime by its C API alone, as a peer.

#pragma once

#include <dlfcn.h>
#include <onnxruntime_c_api.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace Bare {

inline void Check(bool isGood, const char* what) {
    if (!isGood) {
        std::fprintf(stderr, "bare runtime: %s\n", what);
        std::exit(1);
    }
}

inline void Check(OrtStatus* status) {
    Check(status == nullptr, "it refuses");
}

/// The runtime, which is loaded by the first call.
inline const OrtApi& GetRuntime() {
    static const OrtApi* const api = [] {
        void* const library = dlopen(BARE_RUNTIME, RTLD_NOW | RTLD_LOCAL);
        Check(library != nullptr, "it can't be loaded");
        const auto getBase =
            reinterpret_cast<const OrtApiBase* (*)()>(dlsym(library, "OrtGetApiBase"));
        return getBase()->GetApi(23);
    }();
    return *api;
}

/// One open model file, and the environment.
class Network {
public:
    explicit Network(const char* path) {
        OrtSessionOptions* options = nullptr;
        Check(GetRuntime().CreateEnv(ORT_LOGGING_LEVEL_ERROR, "", &m_environment));
        Check(GetRuntime().CreateSessionOptions(&options));
        Check(GetRuntime().CreateSession(m_environment, path, options, &m_session));
        GetRuntime().ReleaseSessionOptions(options);
    }
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;
    ~Network() {
        GetRuntime().ReleaseSession(m_session);
        GetRuntime().ReleaseEnv(m_environment);
    }

    struct Place {
        const char* name;
        std::array<std::int64_t, 4> shape;
    };

    /// Runs the network on new tensors.
    void Run(const Place& input, const Place& output) {
        OrtValue* const source = Allocate(input.shape);
        OrtValue* target = Allocate(output.shape);
        Check(GetRuntime().Run(m_session, nullptr, &input.name, &source, 1, &output.name, 1,
                               &target));
        GetRuntime().ReleaseValue(source);
        GetRuntime().ReleaseValue(target);
    }

private:
    static OrtValue* Allocate(const std::array<std::int64_t, 4>& shape) {
        OrtAllocator* allocator = nullptr;
        OrtValue* value = nullptr;
        Check(GetRuntime().GetAllocatorWithDefaultOptions(&allocator));
        Check(GetRuntime().CreateTensorAsOrtValue(allocator, shape.data(), shape.size(),
                                                  ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT, &value));
        return value;
    }

    OrtEnv* m_environment = nullptr;
    OrtSession* m_session = nullptr;
};

}  // namespace Bare
