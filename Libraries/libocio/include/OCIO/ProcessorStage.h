// Colour conversions of OpenColorIO as steps of a pipeline.

#pragma once

#include "Kernel/String.h"
#include "OCIO/Export.h"
#include "Raster/SpanStage.h"

namespace OCIO {

/// A conversion between two colour spaces of an OpenColorIO configuration, which names spaces and
/// tells how to get from one to another. Alpha counts as one more channel to what it says.
///
/// Threads: any.
class OCIO_API ProcessorStage : public Raster::SpanStage {
public:
    /// From colour space `source` to `destination` of the configuration in file `path`. A role,
    /// such as "scene_linear", will do for a space. Null, with a reason for people, if the file
    /// cannot be read or has no way from one to the other. The configurations used last stay
    /// parsed, with the environment's variables and what other files had then, until their text
    /// changes.
    static Kernel::Counted<const ProcessorStage> CreateFromFile(const Kernel::String& path,
                                                                const Kernel::String& source,
                                                                const Kernel::String& destination,
                                                                Kernel::String& reason);

    /// As CreateFromFile(), from the text that such a file has: what it refers to needs an
    /// absolute path.
    static Kernel::Counted<const ProcessorStage> CreateFromText(const Kernel::String& text,
                                                                const Kernel::String& source,
                                                                const Kernel::String& destination,
                                                                Kernel::String& reason);
};

}  // namespace OCIO
