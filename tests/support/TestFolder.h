// Files of tests: a folder of a test's own, and whole files read and written at once.

#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

namespace Support {

/// A path that is UTF-8, as those of our interfaces, for the standard library, to which it is in a
/// code page on some systems.
template <class Path>
std::filesystem::path ToPath(const Path& path) {
    if constexpr (std::is_convertible_v<const Path&, std::string_view>) {
        const std::string_view text = path;
        return std::u8string(text.begin(), text.end());
    } else {
        return path;
    }
}

/// The other way, with '/' on every system.
inline std::string FromPath(const std::filesystem::path& path) {
    const std::u8string text = path.generic_u8string();
    return {text.begin(), text.end()};
}

template <class Path>
std::string ReadFile(const Path& path) {
    std::ostringstream content;  // block by block, which a sanitizer does not slow down
    content << std::ifstream(ToPath(path), std::ios::binary).rdbuf();
    return std::move(content).str();
}

template <class Path>
void WriteFile(const Path& path, const std::string& content) {
    std::ofstream(ToPath(path), std::ios::binary) << content;
}

inline void DuplicateFile(const std::string& from, const std::string& to) {
    std::filesystem::copy_file(ToPath(from), ToPath(to));
}

/// The names of what lies directly in `folder`; none if there is no such folder.
template <class Path>
std::set<std::string> GetNames(const Path& folder) {
    std::set<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(ToPath(folder), missing)) {
        names.insert(FromPath(entry.path().filename()));
    }
    return names;
}

/// A new folder for temporary files, empty at first and deleted with its content at the end. Its
/// path has letters of several scripts and a blank, as those of users may.
class TestFolder {
public:
    TestFolder() { std::filesystem::create_directories(m_path); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() {
        std::error_code kept;
        std::filesystem::remove_all(m_path, kept);
    }

    /// The path of `name` in the folder; that of the folder with a slash at its end for "".
    std::string At(std::string_view name) const { return FromPath(m_path / ToPath(name)); }

    /// Writes a file and returns its path.
    std::string Write(std::string_view name, const std::string& content) const {
        WriteFile(At(name), content);
        return At(name);
    }

private:
    const std::filesystem::path m_path =
        std::filesystem::temp_directory_path() /
        ToPath("test-Größe Ωμ 测试 😀-" + std::to_string(std::random_device()()));
};

}  // namespace Support
