// The service's catalogue as a document.

#pragma once

#include "Kernel/JsonFwd.h"

namespace Learning {

/// The document that the service has now if `online`, else or if it can't be had or is no JSON the
/// one that is compiled in.
Kernel::Json::Value LoadCatalogue(bool online);

}  // namespace Learning
