// A folder of a test's own.

#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace Service::Testing {

/// Empty at first, gone afterwards.
class TestFolder {
public:
    TestFolder() { std::filesystem::create_directories(m_path); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() { std::filesystem::remove_all(m_path); }

    std::string At(const std::string& name) const { return (m_path / name).string(); }

    std::string Write(const std::string& name, const std::string& content) const {
        std::ofstream(At(name), std::ios::binary) << content;
        return At(name);
    }

private:
    const std::filesystem::path m_path = std::filesystem::temp_directory_path() /
                                         ("service-test-" + std::to_string(std::random_device()()));
};

}  // namespace Service::Testing
