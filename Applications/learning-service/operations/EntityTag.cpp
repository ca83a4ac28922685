#include "operations/EntityTag.h"

#include <algorithm>

namespace Service {

bool HasCopy(const Server::Request& request, std::string_view tag) {
    const std::string* const known = Server::FindHeader(request.headers, "If-None-Match");
    std::string_view list = known != nullptr ? std::string_view(*known) : std::string_view();
    while (!list.empty()) {
        std::string_view item = list.substr(0, list.find(','));
        list.remove_prefix(std::min(list.size(), item.size() + 1));
        item.remove_prefix(std::min(item.find_first_not_of(" \t"), item.size()));
        if (item.starts_with("W/")) {
            item.remove_prefix(2);
        }
        item = item.substr(0, item.find_last_not_of(" \t") + 1);
        if (item == tag || item == "*") {
            return true;
        }
    }
    return false;
}

}  // namespace Service
