// Requests for operations as clients make them.

#pragma once

#include "Kernel/Json.h"
#include "Server/Request.h"

#include <string>

namespace Service::Testing {

/// An envelope with `members` besides, or instead, of those that all have.
inline std::string MakeEnvelope(const Kernel::Json::Value& members) {
    Kernel::Json::Value envelope{{"mirel_api_url", ""},
                                 {"mirel_access_token", ""},
                                 {"mirel_user_id", ""},
                                 {"custom_bearer", ""},
                                 {"client_build", 32000}};
    for (const auto& member : members.items()) {
        envelope[member.key()] = member.value();
    }
    return Kernel::Json::ToString(envelope).c_str();
}

inline Server::Request MakePost(std::string body) {
    return {"POST", "/", {{"Content-Type", "application/json"}}, std::move(body), 1, true, ""};
}

}  // namespace Service::Testing
