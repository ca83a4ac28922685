// Marks what liblearning exports. CMake defines Learning_EXPORTS while it builds the library
// itself.

#pragma once

#if defined(_WIN32) && defined(Learning_EXPORTS)
#define LEARNING_API __declspec(dllexport)
#elif defined(_WIN32)
#define LEARNING_API __declspec(dllimport)
#else
#define LEARNING_API __attribute__((visibility("default")))
#endif
