// Requests of the inference service that are shown instead of sent.

#pragma once

#include "Learning/RemoteInference.h"

#include "host/Host.h"
#include "service/ServiceConnection.h"

#include <functional>

namespace LearningApp {

/// Calls `operation`, and prints the request with which it begins and what is known of those that
/// follow; none is sent. Throws as CallService() does if it ends before it would send one.
void ShowRequests(const Host& host, const ServiceConnection& connection,
                  const std::function<Learning::RemoteInference::Result()>& operation);

/// Prints the request for the models of the service, and `more` about it, a sentence.
void ShowCatalogueRequest(const Host& host, const ServiceConnection& connection, const char* more);

}  // namespace LearningApp
