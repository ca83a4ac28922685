#include "files/RandomName.h"

#include "Kernel/FileSystem.h"

#include <random>
#include <string_view>

namespace Kernel {

namespace {

constexpr std::string_view Alphabet = "abcdefghijklmnopqrstuvwxyz234567";
constexpr std::size_t RandomLength = 16;  // five bits a character

}  // namespace

String MakeRandomName() {
    std::random_device random;
    String name(FileSystem::TemporaryFilePrefix);
    for (std::size_t i = 0; i < RandomLength; ++i) {
        name.push_back(Alphabet[random() % Alphabet.size()]);
    }
    return name;
}

bool IsRandomName(std::string_view fileName) noexcept {
    if (!fileName.starts_with(FileSystem::TemporaryFilePrefix)) {
        return false;
    }
    const std::string_view rest = fileName.substr(FileSystem::TemporaryFilePrefix.size());
    return rest.find_first_not_of(Alphabet) == RandomLength && rest[RandomLength] == '.';
}

}  // namespace Kernel
