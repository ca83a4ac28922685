// Marks what libocio exports. CMake defines OCIO_EXPORTS while it builds the library itself.

#pragma once

#if defined(_WIN32) && defined(OCIO_EXPORTS)
#define OCIO_API __declspec(dllexport)
#elif defined(_WIN32)
#define OCIO_API __declspec(dllimport)
#else
#define OCIO_API __attribute__((visibility("default")))
#endif
