// The journal of jobs that the inference service has accepted and whose results are not written
// yet.

#pragma once

#include "Kernel/String.h"
#include "Learning/ImageToImageAlphaMode.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace LearningApp {

/// What it takes to fetch the result of a job and to put it in its place. No prompts, and nothing
/// that says who has asked.
struct JobEntry {
    enum class Operation { Generate, Edit, ReplaceObject };

    Operation operation = Operation::Generate;
    std::string job;     // as the service calls it
    std::string output;  // paths are absolute, or "-"
    std::string model;   // its key
    int count = 1;       // of results
    std::string photo;   // of what is edited
    std::string object;  // the cut-out of what is replaced
    int width = 0;       // of the photo, in pixels
    int height = 0;
    Learning::ImageToImageAlphaMode alphaMode = Learning::ImageToImageAlphaMode::AsReturned;
    bool isEnhanced = false;  // the prompt
    bool isExpanded = false;  // the place of the object
    bool isBegun = false;     // some results may have been written
    std::int64_t time = 0;    // of its acceptance, in seconds since 1970

    bool operator==(const JobEntry&) const = default;
};

/// The command that has the operation.
const char* GetCommandName(JobEntry::Operation operation) noexcept;

/// A folder of the user, in which each job is a file that is written whole and that nobody else may
/// read. Several processes may use it at the same time.
class JobJournal {
public:
    /// In the folder orvantis/jobs of Kernel::FileSystem::GetUserStateFolder(). Throws Failure if
    /// there is none.
    JobJournal();

    /// To be called before a job is asked for: makes sure that an entry can be written. Throws
    /// Failure or Kernel::IoException if not.
    void Prepare(const JobEntry& entry) const;

    /// Writes the entry, in place of an earlier one of that job. Throws what streams throw, or
    /// Failure for a job whose name is longer than any sensible one.
    void Write(const JobEntry& entry) const;

    /// Whether there is no entry of `job` afterwards.
    bool Remove(std::string_view job) const;

    struct Listing {
        std::vector<JobEntry> entries;     // the earliest job first
        std::vector<std::string> damaged;  // files that are no entries
    };
    Listing Read() const;

private:
    std::vector<Kernel::String> ReadNames() const;
    std::string GetPath(std::string_view job) const;

    std::string m_folder;
};

}  // namespace LearningApp
