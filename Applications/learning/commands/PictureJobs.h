// Jobs of the inference service that are fetched again.

#pragma once

#include "Learning/RemoteInference.h"

#include "commands/JobNote.h"
#include "host/Host.h"
#include "service/ServiceConnection.h"

namespace LearningApp {

// Each fetches the results of the job of `note` and writes them as JobNote::WriteResults() does.

void ResumeGenerate(const Host& host, const ServiceConnection& connection, JobNote& note,
                    bool isForced);
void ResumeEdit(const Host& host, const ServiceConnection& connection, JobNote& note,
                bool isForced);
void ResumeReplaceObject(const Host& host, const ServiceConnection& connection, JobNote& note,
                         bool isForced);

/// Reads the photo of a job again. Throws Failure if its size is another one now.
Kernel::Counted<Raster::DynamicBitmap> ReloadPhoto(const Host& host, const JobEntry& entry);

}  // namespace LearningApp
