// A job of the inference service, in the journal from its acceptance until its results are written.

#pragma once

#include "Learning/RemoteInference.h"

#include "host/Host.h"
#include "journal/JobJournal.h"
#include "service/ServiceConnection.h"

#include <functional>
#include <string>
#include <string_view>

namespace LearningApp {

class JobNote {
public:
    /// For a job to come, whose entry has no name and no time yet. Throws Failure if it can't be
    /// noted: the user would pay for something that can be lost. If requests are only shown, there
    /// will be nothing to note.
    static JobNote Prepare(const ServiceConnection& connection, JobEntry entry);
    /// For the job of an entry that is in the journal.
    explicit JobNote(JobEntry entry);

    const JobEntry& GetEntry() const noexcept { return m_entry; }

    /// The service has accepted it. Tells the user if that can't be noted.
    void Accept(const Host& host, std::string_view job);

    /// What there is of the results, for SalvageResults().
    using TakeResults = std::function<Learning::RemoteInference::Pictures()>;
    void SetResults(TakeResults take, bool isForced);

    /// After a call that has failed: writes what it has fetched before, which may not be had again.
    /// Says so if that can't be done.
    void SalvageResults(const Host& host, const ServiceConnection& connection);

    /// Writes the results: one at the place of the entry, several at numbered names beside it.
    /// Takes the place of no file unless `isForced`, or it is that very result, written before.
    /// Keeps the entry if there are fewer than wanted. What it throws says how to fetch them later.
    void WriteResults(const Host& host, const ServiceConnection& connection,
                      const Learning::RemoteInference::Pictures& pictures, bool isForced);

    /// Takes the job out of the journal.
    void Forget() const;

    /// How to fetch the results later, after a line feed; nothing if there is no such job.
    std::string GetAdvice(const ServiceConnection& connection) const;

private:
    void Write(const Host& host) const;
    void Save(const Host& host, const Learning::RemoteInference::Pictures& pictures, bool isForced);

    JobJournal m_journal;
    JobEntry m_entry;
    TakeResults m_takeResults;
    bool m_isForced = false;
};

/// Writes a picture that the service has made to `path`, or beside it if something stands there and
/// `mayReplace` is false.
void WriteResult(const Host& host, const Raster::DynamicBitmap& picture, const std::string& path,
                 bool mayReplace);

}  // namespace LearningApp
