// Why a request is not carried out.

#pragma once

#include "operations/Response.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace Service {

/// Thrown by what looks at requests; its text is one line for the client.
class Refusal : public std::runtime_error {
public:
    Refusal(int status, const std::string& reason, Server::Headers headers = {})
        : std::runtime_error(reason), m_status(status), m_headers(std::move(headers)) {}

    Response ToResponse() const { return Refuse(m_status, what(), m_headers); }

private:
    int m_status;
    Server::Headers m_headers;
};

}  // namespace Service
