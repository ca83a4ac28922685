// The one place that includes Highway, which compiles a source file once for each instruction set
// and chooses among them when the program runs.
//
// The build names the instruction sets it leaves out in HWY_DISABLED_TARGETS: what stays is AVX3,
// AVX2, SSE4 and, for older processors, HWY_SCALAR, whose vectors have one lane. Such a source file
// starts with
//     #undef HWY_TARGET_INCLUDE
//     #define HWY_TARGET_INCLUDE "formats/ThatFile.cpp"
//     #include "formats/Highway.h"  (before the headers that are compiled several times, too)
// and has what it compiles several times between HWY_BEFORE_NAMESPACE() and HWY_AFTER_NAMESPACE(),
// in a namespace HWY_NAMESPACE, and the rest under #if HWY_ONCE.
//
// All instruction sets give the same bytes: multiply and add, never the fused MulAdd(), which some
// of them lack. The compiler must not fuse either (-ffp-contract=off).
//
// Deliberate: no include guard. Highway's own headers are included again for each instruction set.

#ifndef HWY_DISABLED_TARGETS
#error "Define HWY_DISABLED_TARGETS for the whole library."
#endif

#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Gives a function the name and the signature of one that was compiled for each instruction set,
// and dispatches to the best one for the processor. A macro, since Highway's needs the bare name.
#undef RASTER_DISPATCH
#define RASTER_DISPATCH(NAME, PARAMETERS, ARGUMENTS)                                   \
    HWY_EXPORT(NAME);                                                                  \
    void NAME PARAMETERS {                                                             \
        HWY_DYNAMIC_DISPATCH(NAME) ARGUMENTS; /* NOLINT(bugprone-macro-parentheses) */ \
    }
#undef RASTER_DISPATCH_SPANS
#define RASTER_DISPATCH_SPANS(FORMAT)                                                         \
    RASTER_DISPATCH(Read##FORMAT, (const void* source, float* rgba, std::size_t count),       \
                    (source, rgba, count))                                                    \
    RASTER_DISPATCH(Write##FORMAT, (const float* rgba, void* destination, std::size_t count), \
                    (rgba, destination, count))
