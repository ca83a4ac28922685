#include "remote/addresses/ServiceAddresses.h"

namespace Learning {

const char* const ConfigUrl = ORVANTIS_CONFIG_URL;
const char* const ServiceBaseUrl = ORVANTIS_SERVICE_URL;

}  // namespace Learning
