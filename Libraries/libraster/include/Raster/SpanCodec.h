// Rules of a pixel format that differ from bitmap to bitmap.

#pragma once

#include "Kernel/Counted.h"
#include "Raster/Export.h"

#include <cstddef>

namespace Raster {

/// Reads and writes pixels in place of their format's own rules, for example inks by the profile of
/// a printer: four inks do not pass through the three colours of the intermediate.
///
/// Threads: its functions are called concurrently and throw nothing.
class RASTER_API SpanCodec : public Kernel::Countable {
public:
    // As SpanReader and SpanWriter, for at most 128 pixels.
    virtual void Read(const void* source, float* rgba, std::size_t count) const = 0;
    virtual void Write(const float* rgba, void* destination, std::size_t count) const = 0;
};

}  // namespace Raster
