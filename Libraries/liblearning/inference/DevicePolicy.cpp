#include "inference/DevicePolicy.h"

#include <atomic>

namespace Learning {

namespace {

constinit std::atomic<DevicePolicy> processPolicy{DevicePolicy::CPU};

}  // namespace

DevicePolicy GetDevicePolicy() noexcept {
    return processPolicy;
}

void SetDevicePolicy(DevicePolicy policy) noexcept {
    processPolicy = policy;
}

}  // namespace Learning
