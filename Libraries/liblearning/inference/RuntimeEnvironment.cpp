#include "inference/RuntimeEnvironment.h"

#include "Kernel/NeverDestroyed.h"

#include <mutex>

namespace Learning {

namespace {

struct Lives {
    std::mutex mutex;  // also held while the environment begins or ends
    std::uint64_t current = 0;
    std::uint64_t references = 0;
};

Lives& GetLives() {
    static Kernel::NeverDestroyed<Lives> lives;  // models may die with other statics
    return *lives;
}

/// No environment. Ensures the runtime first, which the destructor of even that calls.
Ort::Env MakeNone() {
    EnsureONNXRuntime();
    return Ort::Env(nullptr);
}

}  // namespace

RuntimeEnvironment::RuntimeEnvironment() : m_environment(MakeNone()) {
    Lives& lives = GetLives();
    const std::lock_guard lock(lives.mutex);
    // Also tells the runtime that C++ is calling it, which its telemetry wants to know.
    m_environment = Ort::Env(ORT_LOGGING_LEVEL_ERROR, "");
    if (lives.references++ == 0) {
        ++lives.current;
    }
    m_life = lives.current;
}

RuntimeEnvironment::~RuntimeEnvironment() {
    Lives& lives = GetLives();
    const std::lock_guard lock(lives.mutex);
    m_environment = Ort::Env(nullptr);
    --lives.references;
}

}  // namespace Learning
