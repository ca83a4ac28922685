// Highway, which compiles a source file once for each instruction set and chooses among them when
// the program runs. Such a file defines HWY_TARGET_INCLUDE as its own name before it comes here.
// Which instruction sets there are is the build's to say, once for all libraries.
//
// Deliberate: no include guard. Highway's own headers come again for each instruction set.

#ifndef HWY_DISABLED_TARGETS
#error "Define HWY_DISABLED_TARGETS for the whole library."
#endif

// clang-format off: the first must come first.
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on
