// Marks what libocio exports. CMake defines OCIO_EXPORTS while it builds the library itself.

#pragma once

#include "Kernel/Export.h"

#ifdef OCIO_EXPORTS
#define OCIO_API ORVANTIS_EXPORT
#else
#define OCIO_API ORVANTIS_IMPORT
#endif
