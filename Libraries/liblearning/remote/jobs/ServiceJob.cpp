#include "remote/jobs/ServiceJob.h"

#include "Kernel/Format.h"
#include "Kernel/Json.h"

#include "remote/calls/CallService.h"
#include "remote/calls/Transport.h"
#include "remote/control/ControlInForce.h"

#include <utility>

namespace Learning {

namespace {

using namespace std::chrono_literals;
using Kernel::Json::Value;

constexpr auto PendingPause = 2s;
constexpr std::uint64_t MaximumPictureSize = std::uint64_t{256} << 20;

const Kernel::String* FindText(const Value& reply, const char* key) {
    const auto member = reply.find(key);
    return member != reply.end() ? member->get_ptr<const Kernel::String*>() : nullptr;
}

/// The object of a reply of status 200.
Value ReadObject(const ServiceReply& reply) {
    std::optional<Value> value = Kernel::Json::Parse(reply.GetText());
    if (!value || !value->is_object()) {
        throw Refusal(RemoteResult::UnknownError);
    }
    return *std::move(value);
}

/// What the service says in an error. No member is known in which it would say more, to be the
/// message of the result.
Refusal MakeRefusal(const Kernel::String& error) {
    return Refusal(RemoteResult(error, {}));
}

}  // namespace

Value ReadReply(const ServiceReply& reply) {
    if (reply.status != SuccessStatus) {
        throw Refusal(RemoteResult::UnknownError);
    }
    Value value = ReadObject(reply);
    if (const Kernel::String* const error = FindText(value, "error")) {
        throw MakeRefusal(*error);
    }
    return value;
}

Kernel::String ReadText(const Value& reply, const char* key) {
    const Kernel::String* const text = FindText(reply, key);
    if (text == nullptr) {
        throw Refusal(RemoteResult::UnknownError);
    }
    return *text;
}

ServiceJob ServiceJob::Submit(const PollRules& rules, const Value& body, MakeRequest makeRequest) {
    const Value reply = ReadReply(SubmitToService(rules.operation, body));
    ServiceJob job(rules, ReadText(reply, "generation_id"), std::move(makeRequest));
    Kernel::Trace::Write("Generation job ID: %1\n", Kernel::MakePrintable(job.m_id));
    ControlInForce::Tell({RemotePhase::Kind::Accepted, rules.operation, job.m_id, 0, 0});
    ControlInForce::Tell({RemotePhase::Kind::Waiting, rules.operation, job.m_id, 0, 0});
    ControlInForce::Wait(rules.firstWait);
    return job;
}

ServiceJob::ServiceJob(const PollRules& rules, Kernel::String id, MakeRequest makeRequest,
                       PixelBudget budget)
    : m_rules(rules),
      m_id(std::move(id)),
      m_makeRequest(std::move(makeRequest)),
      m_budget(budget) {}

void ServiceJob::Fetch(int index, const TakePicture& take, const SeeReply& see) {
    if (const std::optional<Value> addresses = Poll(index, see)) {
        Download(*addresses, take);
    }
}

/// The addresses of the pictures of an index; nothing if it is given up.
std::optional<Value> ServiceJob::Poll(int index, const SeeReply& see) const {
    for (int attempt = 1; attempt <= m_rules.attempts; ++attempt) {
        ControlInForce::Tell(
            {RemotePhase::Kind::Polling, m_rules.operation, m_id, attempt, m_rules.attempts});
        Value body = m_makeRequest();
        body["generation_id"] = Kernel::Format("%1:%2", m_id, index);
        const ServiceReply reply = PostToService("pollGeneration", body);
        if (reply.status != SuccessStatus) {
            continue;
        }
        Value value = ReadObject(reply);
        if (const Kernel::String* const error = FindText(value, "error")) {
            if (m_rules.endsWithError) {
                throw MakeRefusal(*error);
            }
            return std::nullopt;
        }
        if (const Kernel::String* const status = FindText(value, "status")) {
            Kernel::Trace::Write("Generation status: %1\n", Kernel::MakePrintable(*status));
            if (*status == "PENDING") {
                ControlInForce::Wait(PendingPause);
                continue;
            }
        }
        if (see) {
            see(value);
        }
        const auto images = value.find("images");
        if (images != value.end() && images->is_array()) {
            return std::move(*images);
        }
    }
    return std::nullopt;
}

void ServiceJob::Download(const Value& addresses, const TakePicture& take) {
    int number = 0;
    for (const Value& address : addresses) {
        ++number;
        const auto* const text = address.get_ptr<const Kernel::String*>();
        if (text == nullptr) {
            continue;
        }
        ControlInForce::Tell({RemotePhase::Kind::Downloading, m_rules.operation, m_id, number,
                              static_cast<int>(addresses.size())});
        const ServiceReply reply = DownloadFile(*text, MaximumPictureSize);
        Picture picture =
            reply.status == SuccessStatus ? DecodePicture(*reply.body, m_budget) : nullptr;
        if (picture) {
            take(std::move(picture));
        }
    }
}

}  // namespace Learning
