// Machines without a usable inference runtime.

#pragma once

#include <filesystem>
#include <string>

namespace Support {

struct RuntimeWorld {
    const char* name;
    std::string file;    // what stands in the runtime's place; nothing if empty
    const char* reason;  // what the error says
};

inline const RuntimeWorld RuntimeWorlds[] = {
    {"absent", "", "No such file"},
    {"no library", FAKE_RUNTIMES "NoLibrary", "can't be loaded"},
    {"without the symbol", FAKE_RUNTIMES "NoSymbol.library", "is no inference runtime"},
    {"without an answer", FAKE_RUNTIMES "NoAnswer.library", "is no inference runtime"},
    {"too old", FAKE_RUNTIMES "TooOld.library", "is version 1.2.3, which does not serve API 23"},
};

/// Puts `file`, or nothing if it is empty, where the runtime is looked for.
inline void PutRuntime(const std::filesystem::path& place, const std::string& file) {
    std::filesystem::remove(place);
    if (!file.empty()) {
        std::filesystem::copy_file(file, place);
    }
}

}  // namespace Support
