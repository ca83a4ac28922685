// What a client has to know to be served.

#pragma once

#include "envelope/Envelope.h"

#include <map>
#include <string>

namespace Service {

/// Values that members of a request must have; without any, every request is welcome.
class Credentials {
public:
    Credentials() = default;
    /// Reads "KEY=VALUE", a line each, with keys of CredentialKeys; blank lines and those that
    /// start with "#" say nothing. Throws what is derived from std::runtime_error, which names the
    /// line, but no value, and for a file that others than its owner may read.
    explicit Credentials(const std::string& path);

    /// Whether the request has all that is wanted. How long it takes tells nothing about the values
    /// but their sizes.
    bool Admit(const Envelope& envelope) const noexcept;

private:
    void AddLine(const std::string& line);

    std::map<std::string, std::string> m_wanted;
};

}  // namespace Service
