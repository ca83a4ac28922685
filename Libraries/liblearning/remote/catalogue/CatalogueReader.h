// The models in the service's catalogue.

#pragma once

#include "Kernel/JsonFwd.h"
#include "Learning/RemoteModels.h"

#include <vector>

namespace Learning {

// Both append the models of a list to `models`, and copy the last that is flagged as the default to
// `chosen`. An element that lacks something or has it in another type is left out. The values of an
// object are taken as a list, null as none.

void ReadModels(const Kernel::Json::Value& list, std::vector<TextToImageModel>& models,
                TextToImageModel& chosen);
void ReadModels(const Kernel::Json::Value& list, std::vector<ImageToImageModel>& models,
                ImageToImageModel& chosen);

}  // namespace Learning
