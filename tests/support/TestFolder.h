// Files of tests: a folder of a test's own, and whole files read and written at once.

#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace Support {

inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// Empty at first, gone afterwards.
class TestFolder {
public:
    TestFolder() { std::filesystem::create_directories(m_path); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() { std::filesystem::remove_all(m_path); }

    std::string At(const std::string& name) const { return (m_path / name).string(); }

    std::string Write(const std::string& name, const std::string& content) const {
        WriteFile(At(name), content);
        return At(name);
    }

private:
    const std::filesystem::path m_path = std::filesystem::temp_directory_path() /
                                         ("service-test-" + std::to_string(std::random_device()()));
};

}  // namespace Support
