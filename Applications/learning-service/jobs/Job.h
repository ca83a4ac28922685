// What clients have asked for, and what is kept of it.

#pragma once

#include "Kernel/Timer.h"

#include "jobs/Shelf.h"
#include "jobs/Workbench.h"
#include "segmentation/Segmenter.h"

#include <chrono>
#include <functional>
#include <mutex>
#include <string>

namespace Service {

/// A request for pictures that was accepted. Each is drawn when it is fetched, and is the same each
/// time: so a job takes no more memory than what it was asked with.
struct Job {
    int count = 1;
    const char* extension = "jpg";  // of the names of the files
    std::string prompt;             // that was used instead of the one in the request; may be empty
    std::function<std::string(int index)> draw;  // the bytes of a file
    Kernel::Timer timer;
};

/// An upload, and what becomes of it.
struct Upload {
    std::mutex mutex;     // of all below
    std::string content;  // as it came; empty before it comes, and when there is a result
    std::string archive;  // the result
};

/// What the operations on pictures share.
struct Studio {
    std::chrono::milliseconds pending{};  // how long jobs say that they are not done
    int side = 1024;                      // of square pictures that are made from words
    std::string folder;                   // path of the operations, with "/" at its end
    /// Is told of each job that is accepted, in a line for the log.
    std::function<void(const std::string& line)> onAccepted;
    Shelf<Job> jobs;
    Shelf<Upload> uploads;
    Workbench bench;
    Segmenter segmenter{std::string()};
};

}  // namespace Service
