// A library that may stand in the runtime's place and is of no use: CMakeLists.txt says which
// function it has, and what that answers.

#include <onnxruntime_c_api.h>

#include <cstdint>

namespace {

[[maybe_unused]] constexpr OrtApiBase oldBase{
    [](std::uint32_t /*version*/) noexcept -> const OrtApi* { return nullptr; },
    []() noexcept { return "1.2.3"; },
};

}  // namespace

extern "C" const OrtApiBase* GetSibling() noexcept;  // of the library that another one needs

extern "C" const OrtApiBase* ENTRY() noexcept {
    return ANSWER;
}
