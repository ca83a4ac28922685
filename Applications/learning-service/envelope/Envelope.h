// The JSON object by which clients ask for an operation.

#pragma once

#include "Server/Request.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Service {

/// The names of the members that tell who asks.
inline constexpr const char* CredentialKeys[] = {"mirel_api_url", "mirel_access_token",
                                                 "mirel_user_id", "custom_bearer"};

/// What a request says: five members that all requests have, and those of its operation.
struct Envelope {
    std::map<std::string, std::string, std::less<>> texts;  // well-formed UTF-8

    /// The text of a member that is there.
    const std::string& Get(std::string_view key) const { return texts.find(key)->second; }
};

/// Reads a POST of an object with the texts CredentialKeys and `keys`, the integer "client_build"
/// and nothing else. Throws Refusal for anything but that.
Envelope ReadEnvelope(const Server::Request& request, const std::vector<std::string>& keys);

}  // namespace Service
