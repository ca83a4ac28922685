#include "images/PollGeneration.h"

#include "Kernel/Json.h"

#include "envelope/Refusal.h"
#include "envelope/Rejection.h"
#include "images/Checks.h"
#include "images/ResultFiles.h"

namespace Service {

Response PollGenerationOperation::Answer(const Envelope& envelope) const {
    const std::string& origin = TakeOrigin(envelope);
    const std::string& name = envelope.Get("generation_id");
    const std::size_t colon = name.find(':');
    const std::optional<int> index = colon != std::string::npos
                                         ? ParseIndex(std::string_view(name).substr(colon + 1))
                                         : std::nullopt;
    if (!index) {
        throw Refusal(400, "the member \"generation_id\" is not JOB:INDEX");
    }
    const auto [job, token] = m_studio.jobs.Find(name.substr(0, colon));
    if (!job || *index >= job->count) {
        throw Rejection(Code::NoSuchGeneration);
    }
    if (job->timer.GetElapsedMilliseconds() < static_cast<double>(m_studio.pending.count())) {
        return AnswerJson({{"status", "PENDING"}});
    }
    const std::string address = origin + m_studio.folder + ResultFolder + token + '/' +
                                std::to_string(*index) + '.' + job->extension;
    Kernel::Json::Value answer{{"status", "COMPLETED"},
                               {"images", Kernel::Json::Value::array({address})}};
    if (*index == 0 && !job->prompt.empty()) {
        answer["prompt"] = job->prompt;
    }
    return AnswerJson(answer);
}

}  // namespace Service
