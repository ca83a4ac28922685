#include "service/Credentials.h"

#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"

#include "failures/Failure.h"
#include "terminal/ShellWords.h"

#include <array>
#include <sstream>
#include <utility>

namespace LearningApp {

namespace {

constexpr std::array<std::pair<const char*, std::string ServiceOptions::*>, 4> Keys{{
    {"mirel_api_url", &ServiceOptions::apiUrl},
    {"mirel_access_token", &ServiceOptions::accessToken},
    {"mirel_user_id", &ServiceOptions::userId},
    {"custom_bearer", &ServiceOptions::bearer},
}};

std::string ReadPrivateFile(const std::string& path) {
    constexpr std::uint64_t MaximumSize = 65536;
    const auto file = Kernel::FileInStream::Open(path);
    if (!Kernel::FileSystem::IsOwnersAlone(path)) {
        throw Failure("%1 can be read or written by others: its owner alone may\n%2", path,
                      GetRestriction(path));
    }
    if (file->GetSize() > MaximumSize) {
        throw Failure("%1 is no file of credentials: it has more than %2 bytes", path, MaximumSize);
    }
    std::string text(file->GetSize(), '\0');
    text.resize(file->ReadFully(std::as_writable_bytes(std::span(text))));
    return text;
}

/// Whether the line says something that is known.
bool TakeLine(const std::string& line, ServiceOptions& options) {
    for (const auto& [key, member] : Keys) {
        if (line.starts_with(std::string(key) + '=')) {
            std::string& target = options.*member;
            if (target.empty()) {  // what the user says now counts more
                target = line.substr(std::string_view(key).size() + 1);
            }
            return true;
        }
    }
    return line.empty() || line.front() == '#';
}

}  // namespace

void ReadCredentials(ServiceOptions& options) {
    if (options.credentials.empty()) {
        return;
    }
    std::istringstream lines(ReadPrivateFile(options.credentials));
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (!TakeLine(line, options)) {
            throw Failure(
                "%1: line %2 is none of mirel_api_url=, mirel_access_token=, mirel_user_id= and "
                "custom_bearer=",
                options.credentials, number);
        }
    }
}

}  // namespace LearningApp
