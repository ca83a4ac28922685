// Linux has no catalogue of certified execution providers. What stands in for it: the plug-in
// provider libraries beside the runtime, in files libonnxruntime_ep_NAME.so.
// Each is registered under its NAME.

#include "Kernel/Diagnostics.h"
#include "Kernel/Format.h"

#include "inference/ExecutionProviders.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Learning {

namespace {

constexpr std::string_view PluginPrefix = "libonnxruntime_ep_";
constexpr std::string_view PluginSuffix = ".so";
constexpr const char* WebGpuProvider = "WebGpuExecutionProvider";

struct Plugin {
    std::string name;
    std::filesystem::path path;
};

/// The NAME in libonnxruntime_ep_NAME.so; empty if `fileName` is no such name.
std::string_view GetPluginName(std::string_view fileName) {
    const bool isPlugin = fileName.size() > PluginPrefix.size() + PluginSuffix.size() &&
                          fileName.starts_with(PluginPrefix) && fileName.ends_with(PluginSuffix);
    if (!isPlugin) {
        return {};
    }
    fileName.remove_prefix(PluginPrefix.size());
    fileName.remove_suffix(PluginSuffix.size());
    return fileName;
}

/// The plug-ins beside the runtime, by name, so that their order is the same on every machine.
std::vector<Plugin> FindPlugins() {
    std::vector<Plugin> plugins;
    const std::filesystem::path folder(GetModuleFolder().c_str());
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string fileName = entry.path().filename().string();
        if (const std::string_view name = GetPluginName(fileName); !name.empty()) {
            plugins.push_back({std::string(name), entry.path()});
        }
    }
    std::ranges::sort(plugins, {}, &Plugin::name);
    return plugins;
}

void RegisterPlugin(Ort::Env& environment, const Plugin& plugin) {
    try {
        environment.RegisterExecutionProviderLibrary(plugin.name.c_str(), plugin.path.native());
    } catch (const Ort::Exception& error) {
        // Another user of the runtime in this process may have been first. The code of this refusal
        // is that of all others.
        if (std::string_view(error.what()).find("already registered") == std::string_view::npos) {
            throw std::runtime_error(
                Kernel::Format("the execution provider %1 can't be registered: %2",
                               plugin.path.native(), error.what())
                    .c_str());
        }
    }
}

/// Takes the WebGPU provider that is built into the runtime out of the choice.
///
/// A policy that prefers a GPU picks it on any machine with a display card, and where its Vulkan
/// driver is missing or too old it ends the process, which cannot be caught. Whether a driver works
/// cannot be found out without starting it; a plug-in was installed on purpose.
void WithdrawWebGpu(Ort::Env& environment) {
    const auto isWebGpu = [](const Ort::ConstEpDevice& device) {
        return std::string_view(device.EpName()) == WebGpuProvider;
    };
    if (std::ranges::none_of(environment.GetEpDevices(), isWebGpu)) {
        return;
    }
    environment.UnregisterExecutionProviderLibrary(WebGpuProvider);
    Kernel::Log::Write(
        "The built-in WebGPU provider of the inference runtime is not used: without a working "
        "Vulkan driver it would end the program. Plug-ins beside the runtime are.\n");
}

/// What is done already in one life of the environment. Asking the runtime instead, by registering
/// once more and being refused, would leak what the plug-in makes for each registration.
struct Registrations {
    std::uint64_t life = 0;
    std::set<std::string> plugins{};
    bool isWebGpuWithdrawn = false;
};

}  // namespace

void RegisterExecutionProviders(RuntimeEnvironment& environment) {
    static std::mutex mutex;  // also keeps the runtime's list of devices as it is while it is read
    static Registrations done;
    const std::lock_guard lock(mutex);
    if (done.life != environment.GetLife()) {
        done = Registrations{environment.GetLife()};
    }
    if (!done.isWebGpuWithdrawn) {
        try {
            WithdrawWebGpu(environment.Get());
        } catch (const Ort::Exception& error) {
            throw std::runtime_error(error.what());
        }
        done.isWebGpuWithdrawn = true;
    }
    for (const Plugin& plugin : FindPlugins()) {
        if (!done.plugins.contains(plugin.name)) {
            RegisterPlugin(environment.Get(), plugin);
            done.plugins.insert(plugin.name);
        }
    }
}

}  // namespace Learning
