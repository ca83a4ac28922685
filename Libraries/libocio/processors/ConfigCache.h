// Configurations that were parsed.

#pragma once

#include "Kernel/String.h"

#include <OpenColorIO/OpenColorIO.h>

namespace OCIO {

// The configurations used last are kept, since parsing one takes longer than all else: the same
// text gives the same object. Variables of the environment and files that a configuration refers to
// are read once. Threads: any; one parses at a time.

/// Throws what OpenColorIO and the file system do.
OCIO_NAMESPACE::ConstConfigRcPtr FindConfigOfFile(const Kernel::String& path);
OCIO_NAMESPACE::ConstConfigRcPtr FindConfigOfText(const Kernel::String& text);

}  // namespace OCIO
