#include "files/RandomName.h"

#include "Kernel/FileSystem.h"

#include <random>
#include <string_view>

namespace Kernel {

String MakeRandomName() {
    static constexpr std::string_view Alphabet = "abcdefghijklmnopqrstuvwxyz234567";
    std::random_device random;
    String name(FileSystem::TemporaryFilePrefix);
    for (int i = 0; i < 16; ++i) {
        name.push_back(Alphabet[random() % Alphabet.size()]);
    }
    return name;
}

}  // namespace Kernel
