#include "records/RecordOperations.h"

#include "envelope/Refusal.h"

#include <algorithm>

namespace Service {

namespace {

constexpr std::string_view CommandHints[] = {
    "Enlarge and sharpen a photo: learning super-resolve small.png -o large.png",
    "Cut out a thing, without its background: learning segment cat.jpg --at 320,200 -o cat.png",
    "Show how near things are: learning depth street.jpg -o depth.png",
    "Give a black and white photo colours: learning colourise old.jpg -o new.png",
    "Treat many photos at once: learning depth *.jpg --output-folder depths",
    "Fetch the networks that are missing: learning download all --server ADDRESS",
    "Show which networks are installed: learning models",
    "Show the options of a command: learning help depth"};

/// A member without the request's credentials. Throws Refusal if it is empty or too long.
std::string TakeReport(const Envelope& envelope, std::string_view key, std::size_t maxSize) {
    constexpr std::size_t LeastSecret = 8;  // what is shorter is found in any text
    std::string text = envelope.Get(key);
    const std::string name = '"' + std::string(key) + '"';
    if (text.empty()) {
        throw Refusal(400, name + " is empty");
    }
    if (text.size() > maxSize) {
        throw Refusal(413, name + " has more than " + std::to_string(maxSize) + " bytes");
    }
    for (const char* const credential : {"mirel_access_token", "custom_bearer"}) {
        const std::string& secret = envelope.Get(credential);
        if (secret.size() < LeastSecret) {
            continue;
        }
        for (std::size_t at; (at = text.find(secret)) != std::string::npos;) {
            text.replace(at, secret.size(), "(...)");
        }
    }
    return text;
}

constexpr std::size_t MaxReport = std::size_t{16} << 10;
constexpr std::size_t MaxCode = 256;

}  // namespace

Response RecordHintOperation::Answer(const Envelope& envelope) const {
    m_records.AddHint(TakeReport(envelope, "hint", MaxReport));
    return AnswerText("Thank you for the hint.");
}

Response ReportIssueOperation::Answer(const Envelope& envelope) const {
    const std::string issue = TakeReport(envelope, "issue", MaxReport);
    m_records.AddIssue(issue, TakeReport(envelope, "code", MaxCode));
    return AnswerText("Thank you for the report.");
}

HintsOperation::HintsOperation(const Credentials& credentials, Conversations& conversations,
                               const RecordBook& records)
    : EnvelopeOperation({{"prompt"}, {"session"}}, credentials),
      m_conversations(conversations),
      m_records(records) {
    for (const std::string_view hint : CommandHints) {
        m_hints.Add(std::string(hint));
    }
}

Response HintsOperation::Answer(const Envelope& envelope) const {
    const Query query = m_conversations.Ask(envelope.Get("session"), envelope.Get("prompt"));
    std::vector<std::string> hints = m_records.FindHints(query);
    if (hints.empty()) {
        hints = m_hints.Find(query);
    }
    if (hints.empty()) {
        hints = {CommandHints, CommandHints + 3};
    }
    std::string text;
    for (std::string& hint : hints) {
        std::ranges::replace_if(
            hint, [](char c) { return c == '\n' || c == '\r'; }, ' ');
        text += (text.empty() ? "" : "\n") + hint;
    }
    return AnswerText(std::move(text));
}

}  // namespace Service
