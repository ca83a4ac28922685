// The failure to read or write a picture file.

#pragma once

#include "Raster/Export.h"

#include <stdexcept>

namespace Raster {

/// Thrown for data that is not a picture, is damaged, or is of a kind that is not supported. what()
/// is one line that gives the reason; it names no file. Exceptions of streams propagate unchanged.
class RASTER_API CodecException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~CodecException() override;
};

}  // namespace Raster
