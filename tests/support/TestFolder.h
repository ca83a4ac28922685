// Files of tests: a folder of a test's own, and whole files read and written at once.

#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

namespace Support {

inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// The names of what lies directly in `folder`; none if there is no such folder.
inline std::set<std::string> GetNames(const std::filesystem::path& folder) {
    std::set<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

/// A new folder for temporary files, empty at first and deleted with its content at the end. Its
/// path has letters outside ASCII and a blank, as those of users may.
class TestFolder {
public:
    TestFolder() { std::filesystem::create_directories(m_path); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() { std::filesystem::remove_all(m_path); }

    /// The path of `name` in the folder; that of the folder with a slash at its end for "".
    std::string At(std::string_view name) const { return (m_path / name).string(); }

    /// Writes a file and returns its path.
    std::string Write(std::string_view name, const std::string& content) const {
        WriteFile(At(name), content);
        return At(name);
    }

private:
    const std::filesystem::path m_path =
        std::filesystem::temp_directory_path() /
        ("test-Größe 测-" + std::to_string(std::random_device()()));
};

}  // namespace Support
