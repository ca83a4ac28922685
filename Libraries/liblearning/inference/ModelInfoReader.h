// Asking the runtime what a model says of itself.

#pragma once

#include "Learning/ModelInfo.h"

#include "inference/ONNXRuntime.h"

namespace Learning {

/// Throws Ort::Exception if the runtime refuses.
ModelInfo ReadModelInfo(const Ort::Session& session);

}  // namespace Learning
