// What the operations that are asked for by an envelope have in common.

#pragma once

#include "envelope/Credentials.h"
#include "envelope/Envelope.h"
#include "operations/Operation.h"

#include <string>
#include <vector>

namespace Service {

/// Checks a request before it answers it: first its form, then who asks. What is wrong with the
/// form is 400, 405 or 415; who has not the credentials gets 401.
class EnvelopeOperation : public Operation {
public:
    Response Handle(const Server::Request& request, const std::string& path) const final;

protected:
    /// `keys`: of the texts that the operation wants. Lends `credentials`.
    EnvelopeOperation(std::vector<std::string> keys, const Credentials& credentials)
        : m_keys(std::move(keys)), m_credentials(credentials) {}

private:
    /// May throw Refusal.
    virtual Response Answer(const Envelope& envelope) const = 0;

    std::vector<std::string> m_keys;
    const Credentials& m_credentials;
};

/// A successful response of text.
Response AnswerText(std::string text);

/// Answers 404: for the names of operations that there are not.
class MissingOperation : public Operation {
public:
    Response Handle(const Server::Request& request, const std::string& path) const override;
};

}  // namespace Service
