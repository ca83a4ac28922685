// What the commands that ask the inference service have in common.

#pragma once

#include "host/Host.h"
#include "service/ServiceConnection.h"

#include <functional>
#include <string_view>

namespace LearningApp {

/// Calls an operation of the service. Throws Failure with what its result tells the user, in the
/// user's language, and what is known of the cause, unless it is a success. False if the request is
/// only shown.
[[nodiscard]] bool CallService(
    const Host& host, const ServiceConnection& connection,
    const std::function<Learning::RemoteInference::Result(Learning::RemoteInference&)>& operation);

/// Throws that for a result that is no success: ServiceRefusal if the next request would end in the
/// same way. `advice`: further lines, each after a line feed.
[[noreturn]] void ThrowServiceFailure(const Host& host, const ServiceConnection& connection,
                                      const Learning::RemoteInference::Result& result,
                                      std::string_view advice = {});

}  // namespace LearningApp
