// The service's catalogue as a document.

#pragma once

#include "Kernel/JsonFwd.h"

#include <optional>

namespace Learning {

/// The document that the service has now; nothing if it can't be had or is no JSON.
std::optional<Kernel::Json::Value> DownloadCatalogue() noexcept;

/// The document that is compiled in.
Kernel::Json::Value MakeDefaultCatalogue();

}  // namespace Learning
