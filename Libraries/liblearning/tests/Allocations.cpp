#include "tests/Allocations.h"

#include <cstdlib>
#include <new>

namespace Learning {

thread_local int allocationsLeft = -1;

}  // namespace Learning

// Not inlined: g++ would see half of a pair and take it for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = Learning::allocationsLeft >= 0 && Learning::allocationsLeft-- == 0
                             ? nullptr
                             : std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
