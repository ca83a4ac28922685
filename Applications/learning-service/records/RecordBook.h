// What clients have reported: hints and issues.

#pragma once

#include "files/PrivateFile.h"
#include "records/HintBook.h"

#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Service {

/// Keeps reports in a file, an object of JSON a line, with the time of each. Threads: any.
class RecordBook {
public:
    /// Appends to the file at `path`, whose hints count as if they had come just now; keeps hints
    /// in memory alone, and no issues, if `path` is empty. Throws std::runtime_error if the file
    /// can't be read and written, or if others than its owner may.
    explicit RecordBook(const std::string& path);

    /// Throw std::runtime_error if the file can't be written or is full (64 MiB).
    void AddHint(const std::string& hint);
    void AddIssue(const std::string& issue, const std::string& code);

    /// The hints that fit best, at most five, the best first.
    std::vector<std::string> FindHints(const Query& query) const;

private:
    void ReadHints(const std::string& path);

    mutable std::mutex m_mutex;
    std::optional<PrivateLog> m_log;
    HintBook m_hints;
};

}  // namespace Service
