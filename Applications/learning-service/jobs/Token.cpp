#include "jobs/Token.h"

#include <random>
#include <string_view>

namespace Service {

std::string MakeToken() {
    constexpr std::string_view Digits = "0123456789abcdef";
    constexpr int Size = 32;
    std::random_device random;  // from the system, or the processor
    std::uniform_int_distribution<std::size_t> digit(0, Digits.size() - 1);
    std::string token;
    for (int i = 0; i < Size; ++i) {
        token += Digits[digit(random)];
    }
    return token;
}

}  // namespace Service
