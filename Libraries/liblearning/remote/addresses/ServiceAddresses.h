// Where the inference service is. Whoever operates one builds with the addresses of it:
// ORVANTIS_CONFIG_URL and ORVANTIS_SERVICE_URL.

#pragma once

namespace Learning {

/// The address of the catalogue, https.
extern const char* const ConfigUrl;
/// What the addresses of operations start with, https; ends in "/".
extern const char* const ServiceBaseUrl;

}  // namespace Learning
