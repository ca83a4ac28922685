#include "images/Checks.h"

#include "Kernel/Base64.h"
#include "Kernel/Json.h"

#include "drawing/PromptWords.h"
#include "envelope/EnvelopeOperation.h"
#include "envelope/Refusal.h"
#include "envelope/Rejection.h"

#include <cmath>

namespace Service {

namespace {

[[noreturn]] void RefuseMember(std::string_view key, const std::string& reason) {
    throw Refusal(400, "the member \"" + std::string(key) + "\" " + reason);
}

constexpr struct {
    const char* words;
    const char* code;
} Filter[] = {
    {"celebrity celebrities", "GENERATION_REJECTED_CELEBRITY"},
    {"nude naked nudity inappropriate", "GENERATION_REJECTED_INAPPROPRIATE"},
    {"political politician election president", "GENERATION_REJECTED_POLITICAL"},
    {"violence violent blood murder gore", "GENERATION_REJECTED_VIOLENCE"},
    {"trademark logo brand", "GENERATION_REJECTED_TRADEMARK"},
    {"minor minors underage", "GENERATION_REJECTED_MINORS"},
    {"rejected forbidden", "GENERATION_REJECTED"},
};

}  // namespace

int TakeInteger(const Envelope& envelope, std::string_view key, std::int64_t least,
                std::int64_t most) {
    const std::int64_t value = envelope.GetInteger(key);
    if (value < least || value > most) {
        RefuseMember(key, "is not " + std::to_string(least) + " to " + std::to_string(most));
    }
    return static_cast<int>(value);
}

double TakeShare(const Envelope& envelope, std::string_view key) {
    const double value = envelope.GetNumber(key);
    if (!(value >= 0 && value <= 1)) {
        RefuseMember(key, "is not 0 to 1");
    }
    return value;
}

std::string TakeBytes(const Envelope& envelope, std::string_view key) {
    std::optional<std::string> bytes = Kernel::DecodeBase64(envelope.Get(key));
    if (!bytes || bytes->empty()) {
        RefuseMember(key, "is no base64 text with its padding");
    }
    return std::move(*bytes);
}

PicturePointer TakeJPEG(const Envelope& envelope, std::string_view key) {
    PicturePointer picture = ReadPicture(TakeBytes(envelope, key), PictureKinds::JPEG);
    if (!picture) {
        throw Rejection(Code::UnfitPicture);
    }
    return picture;
}

const std::string& TakeText(const Envelope& envelope, std::string_view key) {
    constexpr std::size_t MaxSize = std::size_t{16} << 10;
    const std::string& text = envelope.Get(key);
    if (text.size() > MaxSize) {
        RefuseMember(key, "has more than " + std::to_string(MaxSize) + " bytes");
    }
    return text;
}

const std::string& TakePrompt(const Envelope& envelope, std::string_view key) {
    const std::string& prompt = TakeText(envelope, key);
    if (prompt.empty()) {
        RefuseMember(key, "is empty");
    }
    if (const char* const code = FilterPrompt(prompt)) {
        throw Rejection(code);
    }
    return prompt;
}

const char* FilterPrompt(std::string_view prompt) {
    const PromptWords words(prompt);
    for (const auto& [unwanted, code] : Filter) {
        if (words.HasAny(unwanted)) {
            return code;
        }
    }
    return nullptr;
}

const std::string& TakeOrigin(const Envelope& envelope) {
    if (envelope.origin.empty()) {
        throw Refusal(400,
                      "the header Host is missing or names no host, as addresses of files need");
    }
    return envelope.origin;
}

Response AcceptJob(Studio& studio, const char* operation, Job job, std::size_t size) {
    constexpr std::size_t Overhead = 1024;  // of names, lists and functions
    const int count = job.count;
    const std::string id =
        studio.jobs.Add(std::make_shared<Job>(std::move(job)), size + Overhead).id;
    studio.onAccepted(std::string("accepted ") + operation + ", job " + id +
                      ", pictures: " + std::to_string(count));
    return AnswerJson({{"generation_id", id}});
}

}  // namespace Service
