// Requests of the inference service as texts for the user.

#pragma once

#include "Learning/RemoteRequest.h"

#include <string>

namespace LearningApp {

/// What `request` sends and, after a blank line, what the one after it does: method and address,
/// headers, and the body with a line for each member. In place of credentials stands that there are
/// some, and in place of pictures their kind, size and SHA-256 digest. Ends in a line feed.
std::string DescribeRequest(const Learning::RemoteRequest& request);

}  // namespace LearningApp
