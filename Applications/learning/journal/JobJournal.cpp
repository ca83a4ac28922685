#include "journal/JobJournal.h"

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/FileSystem.h"
#include "Kernel/HashAccumulator.h"
#include "Kernel/IoException.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "journal/JobText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <span>

namespace LearningApp {

namespace {

constexpr const char* Extension = ".json";
constexpr char LongestWhenWritten = '\1';  // JSON writes it as six characters

std::string FindStateFolder() {
    if (const std::optional<Kernel::String> folder = Kernel::FileSystem::GetUserStateFolder()) {
        return std::string(std::string_view(*folder));
    }
    throw Failure(
        "there is no folder to note jobs of the service in: set XDG_STATE_HOME or HOME to one");
}

/// An entry on its way to `path`, to be committed.
Kernel::Counted<Kernel::AtomicFileOutStream> Stage(const JobEntry& entry, const std::string& path) {
    auto file = Kernel::AtomicFileOutStream::Create(path);
    const std::string text = ToText(entry);
    file->Write(std::as_bytes(std::span(text)));
    return file;
}

}  // namespace

JobJournal::JobJournal() : m_folder(FindStateFolder() + "/orvantis/jobs") {}

void JobJournal::Prepare(const JobEntry& entry) const {
    CheckText(entry);
    CreateFolder(m_folder);
    Kernel::FileSystem::RestrictToOwner(m_folder);
    Kernel::FileSystem::DeleteAbandonedFiles(m_folder);
    CheckTarget(GetPath({}));
    // A disk that is full shows it when something is written, or only when that is flushed.
    JobEntry longest = entry;
    longest.job.assign(MaximumJobSize, LongestWhenWritten);
    Stage(longest, GetPath({}))->Close();
}

void JobJournal::Write(const JobEntry& entry) const {
    if (entry.job.size() > MaximumJobSize) {
        throw Failure("the name of the job has more than %1 bytes", MaximumJobSize);
    }
    const std::string path = GetPath(entry.job);
    Stage(entry, path)->Commit();
    // Until here the folder alone has kept others out.
    Kernel::FileSystem::RestrictToOwner(path);
}

bool JobJournal::Remove(std::string_view job) const {
    return Kernel::FileSystem::Delete(GetPath(job));
}

JobJournal::Listing JobJournal::Read() const {
    Listing listing;
    for (const Kernel::String& name : ReadNames()) {
        if (!std::string_view(name).ends_with(
                Extension)) {  // such as what a killed process has left
            continue;
        }
        const std::string path = m_folder + '/' + name.c_str();
        std::optional<JobEntry> entry = ReadEntry(path);
        // Under another name than its own an entry would not be found by its job.
        if (entry && GetPath(entry->job) == path) {
            listing.entries.push_back(*std::move(entry));
        } else {
            listing.damaged.push_back(path);
        }
    }
    std::ranges::sort(listing.entries, {}, &JobEntry::time);
    std::ranges::sort(listing.damaged);
    return listing;
}

std::vector<Kernel::String> JobJournal::ReadNames() const {
    try {
        return Kernel::FileSystem::GetNames(m_folder);
    } catch (const Kernel::IoException& exception) {
        throw Failure("cannot read the journal of jobs in %1: %2", m_folder,
                      Kernel::DescribeError(exception.GetCode()));
    }
}

std::string JobJournal::GetPath(std::string_view job) const {
    // What the service calls a job need not be the name of a file.
    Kernel::HashAccumulator hash;
    hash.Add(std::as_bytes(std::span(job)));
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx",
                  static_cast<unsigned long long>(hash.GetHash()));
    return m_folder + '/' + digits.data() + Extension;
}

}  // namespace LearningApp
