// Marks what libnetwork exports. CMake defines Network_EXPORTS while it builds the library itself.

#pragma once

#include "Kernel/Export.h"

#ifdef Network_EXPORTS
#define NETWORK_API ORVANTIS_EXPORT
#else
#define NETWORK_API ORVANTIS_IMPORT
#endif
