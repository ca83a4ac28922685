// Marks what libnetwork exports. CMake defines Network_EXPORTS while it builds the library itself.

#pragma once

#if defined(_WIN32) && defined(Network_EXPORTS)
#define NETWORK_API __declspec(dllexport)
#elif defined(_WIN32)
#define NETWORK_API __declspec(dllimport)
#else
#define NETWORK_API __attribute__((visibility("default")))
#endif
