#include "commands/JobNote.h"

#include "Kernel/FileSystem.h"
#include "Kernel/Utf.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "files/NewFiles.h"
#include "files/Pipes.h"
#include "terminal/ShellWords.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace LearningApp {

JobNote JobNote::Prepare(const ServiceConnection& connection, JobEntry entry) {
    JobNote note(std::move(entry));
    if (!connection.ShowsRequests()) {
        note.m_journal.Prepare(note.m_entry);
    }
    return note;
}

JobNote::JobNote(JobEntry entry) : m_entry(std::move(entry)) {}

void JobNote::Accept(const Host& host, std::string_view job) {
    m_entry.job = job;
    m_entry.time = std::chrono::duration_cast<std::chrono::seconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                       .count();
    Write(host);
}

void JobNote::WriteResults(const Host& host, const ServiceConnection& connection,
                           const Learning::RemoteInference::Pictures& pictures, bool isForced) {
    const std::vector<std::string> names = NumberNames(m_entry.output, m_entry.count);
    const bool mayReplace = isForced || m_entry.isBegun;
    // What is there from here on is a result, unless it has come in the meantime.
    m_entry.isBegun = mayReplace || std::ranges::none_of(names, Kernel::FileSystem::Exists);
    if (!m_entry.job.empty()) {
        Write(host);
    }
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        if (i < names.size()) {
            WriteResult(host, *pictures[i], names[i], mayReplace);
        } else if (!IsPipe(m_entry.output)) {  // more than was asked for: beside the last
            WriteResult(host, *pictures[i], names.back(), false);
        }
    }
    if (pictures.size() < names.size()) {
        host.Complain(
            Kernel::Format("the service has made %1 of %2 pictures", pictures.size(), names.size()),
            GetAdvice(connection));
        return;
    }
    Forget();
}

void JobNote::Write(const Host& host) const {
    try {
        m_journal.Write(m_entry);
    } catch (const std::exception& exception) {  // it has been paid for: goes on
        host.Complain("the job " + m_entry.job + " could not be noted: " + exception.what());
    }
}

void JobNote::Forget() const {
    if (!m_journal.Remove(m_entry.job)) {
        throw Failure("cannot take the job %1 out of the journal", m_entry.job);
    }
}

std::string JobNote::GetAdvice(const ServiceConnection& connection) const {
    if (m_entry.job.empty()) {
        return "";
    }
    const std::string job(std::string_view(Kernel::MakePrintable(m_entry.job)));
    return "\nThe service has accepted it as a job. To fetch the result, without paying again:\n"
           "learning resume" +
           connection.GetRepeatedOptions() + (job.starts_with('-') ? " -- " : " ") +
           QuoteForShell(job);
}

void WriteResult(const Host& host, const Raster::DynamicBitmap& picture, const std::string& path,
                 bool mayReplace) {
    const std::string name = mayReplace ? path : FindFreeName(path);
    host.Time(Phase::Encode, [&] { SavePicture(picture, name); });
    host.SayWritten(name, name == path ? "" : ", since " + path + " is there already");
}

}  // namespace LearningApp
