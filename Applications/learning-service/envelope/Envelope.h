// The JSON object by which clients ask for an operation.

#pragma once

#include "Server/Request.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Service {

/// The names of the members that tell who asks.
inline constexpr const char* CredentialKeys[] = {"mirel_api_url", "mirel_access_token",
                                                 "mirel_user_id", "custom_bearer"};

/// What a member of a request has to be.
struct MemberRule {
    enum class Kind { Text, Integer, Number, Flag };  // as in the alternatives of Envelope::Member

    const char* key;
    Kind kind = Kind::Text;
    bool isOptional = false;
};

/// What a request says: five members that all requests have, and those of its operation.
struct Envelope {
    using Member = std::variant<std::string, std::int64_t, double, bool>;  // texts are UTF-8

    std::map<std::string, Member, std::less<>> members;
    /// Where the client has found the service: "https://host:port". Empty if it does not tell.
    std::string origin;

    bool Has(std::string_view key) const { return members.contains(key); }
    // The value of a member that is there.
    const std::string& Get(std::string_view key) const { return GetAs<std::string>(key); }
    std::int64_t GetInteger(std::string_view key) const { return GetAs<std::int64_t>(key); }
    double GetNumber(std::string_view key) const { return GetAs<double>(key); }
    bool GetFlag(std::string_view key) const { return GetAs<bool>(key); }

private:
    template <class T>
    const T& GetAs(std::string_view key) const {
        return std::get<T>(members.find(key)->second);
    }
};

/// Reads a POST of an object with the texts CredentialKeys, the integer "client_build", what
/// `rules` say and nothing else. Throws Refusal for anything but that.
Envelope ReadEnvelope(const Server::Request& request, const std::vector<MemberRule>& rules);

}  // namespace Service
