// Outcomes from responses and exceptions.

#pragma once

#include "Learning/Model.h"
#include "Learning/ModelOutcome.h"
#include "Network/HttpRequest.h"

#include "modelcache/PackageInstaller.h"

#include <exception>
#include <system_error>

namespace Learning {

/// With the message that belongs to `status`.
ModelOutcome MakeOutcome(ModelStatus status, Kernel::String reason = {});

/// Of a download that has failed.
ModelOutcome MakeOutcome(const Network::Http::Response& response);

/// ModelStatus::NoSpace or ModelStatus::NotWritable if `error` says so, else `otherwise`.
ModelOutcome MakeOutcome(std::error_code error, Kernel::String reason, ModelStatus otherwise);

/// Of an installation that has ended with `error`, or has skipped the model for it.
ModelOutcome MakeInstallOutcome(const std::exception& error);
ModelOutcome MakeInstallOutcome(const SkippedEntry& skipped);

/// Of a download that could not be started, since there is no file for the package.
ModelOutcome MakeDownloadOutcome(const std::exception& error);

/// Of a model that is not valid.
ModelOutcome MakeLoadOutcome(const Model& model, bool hasFile);

}  // namespace Learning
