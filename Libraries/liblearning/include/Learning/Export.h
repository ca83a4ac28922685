// Marks what liblearning exports. CMake defines Learning_EXPORTS while it builds the library
// itself.

#pragma once

#include "Kernel/Export.h"

#ifdef Learning_EXPORTS
#define LEARNING_API ORVANTIS_EXPORT
#define LEARNING_TEMPLATE ORVANTIS_EXPORTED_TEMPLATE
#else
#define LEARNING_API ORVANTIS_IMPORT
#define LEARNING_TEMPLATE ORVANTIS_IMPORTED_TEMPLATE
#endif
