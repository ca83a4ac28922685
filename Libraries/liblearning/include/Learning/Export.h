// Marks what liblearning exports. CMake defines Learning_EXPORTS while it builds the library
// itself.

#pragma once

#include "Kernel/Export.h"

#ifdef Learning_EXPORTS
#define LEARNING_API ORVANTIS_EXPORT
#else
#define LEARNING_API ORVANTIS_IMPORT
#endif
