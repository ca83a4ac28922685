// Stages of processors that a host has made with OpenColorIO itself. The only header here that
// needs those of OpenColorIO, of the version that libocio is built with.

#pragma once

#include "OCIO/ProcessorStage.h"

#include <OpenColorIO/OpenColorIO.h>

namespace OCIO {

/// What `processor` does, for example a display's view with looks and an exposure, which a pair of
/// colour spaces can't name. The processor is shared. Null, with a reason for people, if it is null
/// or OpenColorIO cannot run it on this processor.
OCIO_API Kernel::Counted<const ProcessorStage> CreateFromProcessor(
    const OCIO_NAMESPACE::ConstProcessorRcPtr& processor, Kernel::String& reason);

}  // namespace OCIO
