#include "service/Addresses.h"

#include <algorithm>
#include <sstream>

namespace Service {

const char* GetCataloguePath() noexcept {
    return CATALOGUE_PATH;
}

const char* GetOperationsPath() noexcept {
    return OPERATIONS_PATH;
}

std::vector<std::string> GetCompiledInHosts() {
    std::istringstream words(SERVICE_HOSTS);
    std::vector<std::string> hosts;
    for (std::string host; words >> host;) {
        if (std::ranges::find(hosts, host) == hosts.end()) {
            hosts.push_back(host);
        }
    }
    return hosts;
}

}  // namespace Service
