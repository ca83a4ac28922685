// What the operations that are asked for by an envelope have in common.

#pragma once

#include "Kernel/JsonFwd.h"

#include "envelope/Credentials.h"
#include "envelope/Envelope.h"
#include "operations/Operation.h"

#include <string>
#include <utility>
#include <vector>

namespace Service {

/// Checks a request before it answers it: first its form, then who asks. What is wrong with the
/// form is 400, 405 or 415; who has not the credentials gets 401. What the service rejects is 200
/// and
/// {"error": code}.
class EnvelopeOperation : public Operation {
public:
    Response Handle(const Server::Request& request, const std::string& path) const final;

protected:
    /// `rules`: for the members that the operation wants. Lends `credentials`.
    EnvelopeOperation(std::vector<MemberRule> rules, const Credentials& credentials)
        : m_rules(std::move(rules)), m_credentials(credentials) {}

private:
    /// May throw Refusal and Rejection.
    virtual Response Answer(const Envelope& envelope) const = 0;

    std::vector<MemberRule> m_rules;
    const Credentials& m_credentials;
};

/// A successful response of text.
Response AnswerText(std::string text);

/// A successful response of JSON.
Response AnswerJson(const Kernel::Json::Value& value);

/// Answers 404: for the names of operations that there are not.
class MissingOperation : public Operation {
public:
    Response Handle(const Server::Request& request, const std::string& path) const override;
};

}  // namespace Service
