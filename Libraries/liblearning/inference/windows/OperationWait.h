// Waiting for operations of the Windows Runtime.

#pragma once

#include "inference/windows/CatalogueInterfaces.h"

namespace Learning {

/// Waits until `operation` has ended, without a limit: it may download. Throws PlatformError if it
/// was cancelled, or if its state can't be told; whether it has failed its results tell.
void WaitFor(ProviderOperation& operation);

}  // namespace Learning
