#include "commands/JobNote.h"

#include "Kernel/IoException.h"
#include "Kernel/Utf.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "files/NewFiles.h"
#include "files/Pipes.h"
#include "terminal/ShellWords.h"

#include <chrono>
#include <utility>
#include <vector>

namespace LearningApp {

using Learning::RemoteInference;

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

void JobNote::SetResults(TakeResults take, bool isForced) {
    m_takeResults = std::move(take);
    m_isForced = isForced;
}

void JobNote::SalvageResults(const Host& host, const ServiceConnection& connection) {
    try {
        if (const auto pictures = m_takeResults ? m_takeResults() : RemoteInference::Pictures();
            !pictures.empty()) {
            Save(host, pictures, m_isForced);
        }
    } catch (const Kernel::IoException& exception) {
        host.Complain(exception.what(), GetAdvice(connection));
    }
}

void JobNote::WriteResults(const Host& host, const ServiceConnection& connection,
                           const RemoteInference::Pictures& pictures, bool isForced) {
    try {
        Save(host, pictures, isForced);
    } catch (const Interrupted&) {
        throw Interrupted(GetAdvice(connection));
    } catch (const Kernel::IoException& exception) {
        throw Failure("%1%2", exception.what(), GetAdvice(connection));
    }
    if (pictures.size() < static_cast<std::size_t>(m_entry.count)) {
        host.Complain(Kernel::Format("the service has made %1 of %2 pictures", pictures.size(),
                                     m_entry.count),
                      GetAdvice(connection));
        return;
    }
    Forget();
}

void JobNote::Save(const Host& host, const RemoteInference::Pictures& pictures, bool isForced) {
    const std::vector<std::string> names = NumberNames(m_entry.output, m_entry.count);
    // Then what is there may be a result of this job, or have come since.
    const bool wasBegun = std::exchange(m_entry.isBegun, true);
    if (!m_entry.job.empty()) {
        Write(host);
    }
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        if (i < names.size()) {
            const bool mayReplace = isForced || (wasBegun && HoldsPicture(names[i], *pictures[i]));
            WriteResult(host, *pictures[i], names[i], mayReplace);
        } else if (!IsPipe(m_entry.output)) {  // more than was asked for: beside the last
            WriteResult(host, *pictures[i], names.back(), false);
        }
    }
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
    const std::string accepted =
        "\nThe service has accepted it as a job. To fetch the result, without paying again:\n";
    if (!CanBeQuoted(job)) {
        return accepted + "learning resume, with the name that this tells:\nlearning jobs";
    }
    return accepted + "learning resume" + connection.GetRepeatedOptions() +
           (job.starts_with('-') ? " -- " : " ") + QuoteForShell(job);
}

void WriteResult(const Host& host, const Raster::DynamicBitmap& picture, const std::string& path,
                 bool mayReplace) {
    const std::string name = host.Time(Phase::Encode, [&] {
        if (!mayReplace) {
            return SaveNewPicture(picture, path);
        }
        SavePicture(picture, path);
        return path;
    });
    host.SayWritten(name, name == path ? "" : ", since " + path + " is there already");
}

}  // namespace LearningApp
