// What became of a model that was asked for.

#pragma once

#include "Kernel/LocalisedString.h"
#include "Kernel/String.h"

#include <cstdint>

namespace Learning {

enum class ModelStatus : std::uint32_t {
    Unknown = 0,          // not asked for yet, or deleted
    Installed = 1,        // its file is there and can be loaded
    Offline = 2,          // the model server can't be reached, or does not answer
    NotFound = 3,         // the model server has no package, or the cache folder no file
    Refused = 4,          // the model server answers with something else than a package
    Damaged = 5,          // the package can't be read, or does not hold the model
    NoSpace = 6,          // the disk is full, or the user's part of it
    Cancelled = 7,        // the caller has ended the download
    WillNotLoad = 8,      // the runtime refuses the file
    NoRuntime = 9,        // there is no inference runtime that can be used
    InvalidAddress = 10,  // no address of a server can be made from the URL root
    Untrusted = 11,       // the server's certificate is not trusted
    WrongProtocol = 12,  // what answers speaks another protocol: http for https, or none of the web
    BrokenOff = 13,      // the transfer ended before the package was whole
    ServerFailed = 14,   // the model server answers that it has failed (status 500 to 599)
    NotWritable = 15,    // files may not be written
    Failed = 16,         // something else, which `reason` tells
};

struct ModelOutcome {
    ModelStatus status = ModelStatus::Unknown;
    /// A sentence for the user; empty for ModelStatus::Unknown.
    Kernel::LocalisedString message;
    /// One line of English for support: what went wrong, and where. Empty for
    /// ModelStatus::Unknown and ModelStatus::Installed.
    Kernel::String reason;
};

}  // namespace Learning
