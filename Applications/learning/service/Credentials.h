// Who asks the inference service.

#pragma once

#include "service/ServiceOptions.h"

namespace LearningApp {

/// Adds to `options` what its file of credentials says and they do not: lines of KEY=VALUE with the
/// keys mirel_api_url, mirel_access_token, mirel_user_id and custom_bearer; blank lines and those
/// that start with "#" say nothing. Throws Failure, which names the line but no value, and for a
/// file that others than its owner may read or write.
void ReadCredentials(ServiceOptions& options);

}  // namespace LearningApp
