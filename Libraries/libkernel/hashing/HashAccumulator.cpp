#include "Kernel/HashAccumulator.h"

#include <xxhash.h>

#include <new>

namespace Kernel {

struct HashAccumulator::State {
    struct Free {
        void operator()(XXH3_state_t* state) const noexcept { XXH3_freeState(state); }
    };

    State() : hash(XXH3_createState()) {
        if (!hash) {
            throw std::bad_alloc();
        }
        XXH3_64bits_reset(hash.get());
    }

    std::unique_ptr<XXH3_state_t, Free> hash;
};

HashAccumulator::HashAccumulator() : m_state(std::make_unique<State>()) {}
HashAccumulator::HashAccumulator(HashAccumulator&&) noexcept = default;
HashAccumulator& HashAccumulator::operator=(HashAccumulator&&) noexcept = default;
HashAccumulator::~HashAccumulator() = default;

void HashAccumulator::Add(std::span<const std::byte> bytes) {
    XXH3_64bits_update(m_state->hash.get(), bytes.data(), bytes.size());
}

void HashAccumulator::Add(const String& text) {
    Add(std::uint64_t{text.size()});
    Add(std::as_bytes(std::span(text.data(), text.size())));
}

std::uint64_t HashAccumulator::GetHash() const {
    return XXH3_64bits_digest(m_state->hash.get());
}

}  // namespace Kernel
