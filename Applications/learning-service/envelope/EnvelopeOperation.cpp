#include "envelope/EnvelopeOperation.h"

#include "Kernel/Json.h"

#include "envelope/Refusal.h"
#include "envelope/Rejection.h"

namespace Service {

Response EnvelopeOperation::Handle(const Server::Request& request,
                                   const std::string& /*path*/) const {
    try {
        const Envelope envelope = ReadEnvelope(request, m_rules);
        if (!m_credentials.Admit(envelope)) {
            // RFC 9110 wants the header; these credentials travel in the body.
            throw Refusal(401, "the credentials are not those of this service",
                          {{"WWW-Authenticate", "Envelope"}});
        }
        return Answer(envelope);
    } catch (const Refusal& refusal) {
        return refusal.ToResponse();
    } catch (const Rejection& rejection) {
        return AnswerJson({{"error", rejection.what()}});
    }
}

Response AnswerText(std::string text) {
    return {200,
            {{"Content-Type", "text/plain; charset=utf-8"}, {"Cache-Control", "no-store"}},
            std::move(text)};
}

Response AnswerJson(const Kernel::Json::Value& value) {
    return {200,
            {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
            Kernel::Json::ToString(value).c_str()};
}

Response MissingOperation::Handle(const Server::Request& /*request*/,
                                  const std::string& /*path*/) const {
    return Refuse(404, "there is no operation of this name");
}

}  // namespace Service
