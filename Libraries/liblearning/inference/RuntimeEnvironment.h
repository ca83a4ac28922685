// The runtime's environment and its lives.

#pragma once

#include "inference/ONNXRuntime.h"

#include <cstdint>

namespace Learning {

/// A reference to the runtime's environment. There is one in the process: the runtime makes it for
/// the first reference and ends it, with everything registered in it, with the last. So it may have
/// many lives.
///
/// Threads: any may make and release references.
class RuntimeEnvironment {
public:
    /// Throws Ort::Exception if there is no runtime or it refuses.
    RuntimeEnvironment();
    RuntimeEnvironment(const RuntimeEnvironment&) = delete;
    RuntimeEnvironment& operator=(const RuntimeEnvironment&) = delete;
    ~RuntimeEnvironment();

    Ort::Env& Get() noexcept { return m_environment; }

    /// A number for the life that this reference keeps up; every life has another one, from 1 on.
    std::uint64_t GetLife() const noexcept { return m_life; }

private:
    Ort::Env m_environment;
    std::uint64_t m_life = 0;
};

}  // namespace Learning
