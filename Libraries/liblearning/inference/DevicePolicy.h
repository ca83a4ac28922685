// The devices that sessions are opened for.

#pragma once

namespace Learning {

/// What a session runs on, for a model whose EP is Default.
enum class DevicePolicy {
    CPU,
    MaxPerformance,
    MaxEfficiency,
};

/// The policy of the process, CPU at first. Sessions that are open keep the one they were opened
/// with.
///
/// Threads: any.
DevicePolicy GetDevicePolicy() noexcept;
void SetDevicePolicy(DevicePolicy policy) noexcept;

}  // namespace Learning
