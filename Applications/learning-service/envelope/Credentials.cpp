#include "envelope/Credentials.h"

#include "files/PrivateFile.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace Service {

namespace {

bool EqualsInConstantTime(const std::string& given, const std::string& wanted) noexcept {
    // Volatile, so that no compiler sees that it could stop early.
    volatile std::size_t difference = given.size() ^ wanted.size();
    for (std::size_t i = 0; i < given.size(); ++i) {
        const char other = wanted[i % wanted.size()];
        difference = difference | static_cast<unsigned char>(given[i] ^ other);
    }
    return difference == 0;
}

}  // namespace

Credentials::Credentials(const std::string& path) {
    constexpr std::size_t MaxSize = std::size_t{64} << 10;
    std::istringstream lines(ReadPrivateFile(path, MaxSize));
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        try {
            AddLine(line);
        } catch (const std::runtime_error& wrong) {
            throw std::runtime_error(path + ", line " + std::to_string(number) + ": " +
                                     wrong.what());
        }
    }
    if (m_wanted.empty()) {
        throw std::runtime_error(path + " names no credentials");
    }
}

void Credentials::AddLine(const std::string& line) {
    if (line.empty() || line.front() == '#') {
        return;
    }
    const std::size_t end = line.find('=');
    const std::string key = line.substr(0, end);
    if (std::ranges::find(CredentialKeys, key) == std::end(CredentialKeys)) {
        throw std::runtime_error("this is not KEY=VALUE with a key that requests have");
    }
    if (end == std::string::npos || end + 1 == line.size()) {
        throw std::runtime_error("there is no value for " + key);
    }
    m_wanted[key] = line.substr(end + 1);
}

bool Credentials::Admit(const Envelope& envelope) const noexcept {
    bool isAdmitted = true;
    for (const auto& [key, value] : m_wanted) {
        isAdmitted = EqualsInConstantTime(envelope.Get(key), value) && isAdmitted;
    }
    return isAdmitted;
}

}  // namespace Service
