// What Highway's headers need of Highway's library. That library measures the resolution of a timer
// when it is loaded, which would cost every program that links us some 3.5 ms.

#include "formats/InstructionSets.h"

#include <hwy/targets.h>

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<std::int64_t> allowedSets = 0;  // 0: all

#if HWY_ARCH_X86
std::int64_t FindSupportedSets() noexcept {
    const bool hasSSE4 = __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("aes") &&
                         __builtin_cpu_supports("pclmul");
    // Of its parts, processors with BMI2 have F16C and LZCNT in any case.
    const bool hasAVX2 = hasSSE4 && __builtin_cpu_supports("avx2") &&
                         __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi") &&
                         __builtin_cpu_supports("bmi2");
    const bool hasAVX3 = hasAVX2 && __builtin_cpu_supports("avx512f") &&
                         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
                         __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512cd");
    return HWY_STATIC_TARGET | HWY_SCALAR | (hasSSE4 ? HWY_SSE4 : 0) | (hasAVX2 ? HWY_AVX2 : 0) |
           (hasAVX3 ? HWY_AVX3 : 0);
}
#else
std::int64_t FindSupportedSets() noexcept {
    return HWY_STATIC_TARGET | HWY_SCALAR;
}
#endif

}  // namespace

namespace hwy {

int64_t SupportedTargets() {
    static const std::int64_t supported = FindSupportedSets();
    const std::int64_t allowed = allowedSets;
    return allowed == 0 ? supported : supported & allowed;
}

ChosenTarget& GetChosenTarget() {
    static constinit ChosenTarget chosen;
    return chosen;
}

/// For the assertions in Highway's headers, which debug builds check.
void Abort(const char* /*file*/, int /*line*/, const char* /*format*/, ...) {
    std::abort();
}

}  // namespace hwy

namespace Raster {

std::vector<std::int64_t> GetInstructionSets() {
    return hwy::SupportedAndGeneratedTargets();
}

void UseInstructionSets(std::int64_t sets) {
    allowedSets = sets;
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace Raster
