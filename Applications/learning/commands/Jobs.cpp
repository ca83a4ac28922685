#include "Kernel/Utf.h"

#include "commands/PictureCall.h"
#include "commands/PictureCommands.h"
#include "commands/PictureJobs.h"
#include "failures/Failure.h"
#include "failures/Suggestion.h"
#include "files/Files.h"
#include "files/NewFiles.h"
#include "networks/NetworkFile.h"

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <ostream>

namespace LearningApp {

namespace {

/// What is shown of the name of a job, and can be typed.
std::string GetShown(const JobEntry& entry) {
    return std::string(std::string_view(Kernel::MakePrintable(entry.job)));
}

/// Names files that are no entries, and goes on without them.
std::vector<JobEntry> ReadEntries(const Host& host) {
    JobJournal::Listing listing = JobJournal().Read();
    for (const std::string& path : listing.damaged) {
        host.Complain(path +
                      " is no entry of the journal of jobs, or a damaged one: it is left out");
    }
    return std::move(listing.entries);
}

JobEntry FindEntry(const Host& host, const std::string& job) {
    const std::vector<JobEntry> entries = ReadEntries(host);
    const auto found = std::ranges::find_if(entries, [&job](const JobEntry& entry) {
        return entry.job == job || GetShown(entry) == job;
    });
    if (found != entries.end()) {
        return *found;
    }
    std::vector<std::string> names;
    std::ranges::transform(entries, std::back_inserter(names), GetShown);
    throw WrongUse("there is no job %1 in the journal%2\nRun learning jobs.", job,
                   Suggest(job, names));
}

std::string FormatSeconds(std::int64_t seconds) {
    return FormatTime(
        std::chrono::file_clock::from_sys(std::chrono::sys_seconds(std::chrono::seconds(seconds))));
}

void PrintLine(std::ostream& out, std::string_view job, std::string_view command,
               std::string_view time, std::string_view output) {
    out << std::left << std::setw(38) << job << ' ' << std::setw(15) << command << std::setw(22)
        << time << output << '\n';
}

}  // namespace

void ListJobs(const Host& host, const JobsOptions& options) {
    if (!options.forgotten.empty()) {
        const JobEntry entry = FindEntry(host, options.forgotten);
        JobNote(entry).Forget();
        host.Say("forgot the job %1", entry.job);
        return;
    }
    const std::vector<JobEntry> entries = ReadEntries(host);
    if (entries.empty()) {
        host.Say("there are no jobs whose results are still to be fetched");
        return;
    }
    PrintLine(host.GetOut(), "JOB", "COMMAND", "ACCEPTED", "OUTPUT");
    for (const JobEntry& entry : entries) {
        PrintLine(host.GetOut(), GetShown(entry), GetCommandName(entry.operation),
                  FormatSeconds(entry.time), Kernel::MakePrintable(entry.output));
    }
}

void ResumeJob(const Host& host, const ServiceOptions& service, const ResumeOptions& options) {
    JobEntry entry = FindEntry(host, options.job);
    if (!options.output.empty()) {
        entry.output = MakeAbsolute(options.output);
        entry.isBegun = false;
    }
    CheckNewPictures(entry.output, entry.count, options.isForced || entry.isBegun,
                     {entry.photo, entry.object});
    const ServiceConnection connection(service);
    JobNote note(entry);
    switch (entry.operation) {
        case JobEntry::Operation::Generate:
            ResumeGenerate(host, connection, note, options.isForced);
            break;
        case JobEntry::Operation::Edit:
            ResumeEdit(host, connection, note, options.isForced);
            break;
        case JobEntry::Operation::ReplaceObject:
            ResumeReplaceObject(host, connection, note, options.isForced);
            break;
    }
}

Kernel::Counted<Raster::DynamicBitmap> ReloadPhoto(const Host& host, const JobEntry& entry) {
    auto photo = LoadForService(host, entry.photo);
    if (photo->GetWidth() != entry.width || photo->GetHeight() != entry.height) {
        throw Failure("the photo %1 has no longer %2 x %3 pixels: put back what the job was for",
                      entry.photo, entry.width, entry.height);
    }
    return photo;
}

}  // namespace LearningApp
