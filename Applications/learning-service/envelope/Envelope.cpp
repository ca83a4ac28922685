#include "envelope/Envelope.h"

#include "Kernel/Json.h"
#include "Kernel/Utf.h"

#include "envelope/Refusal.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <optional>

namespace Service {

namespace {

constexpr const char* BuildKey = "client_build";

void CheckHead(const Server::Request& request) {
    if (request.method != "POST") {
        throw Refusal(405, "operations are asked for by POST", {{"Allow", "POST"}});
    }
    const std::string* const type = Server::FindHeader(request.headers, "Content-Type");
    if (type == nullptr || *type != "application/json") {
        throw Refusal(415, "the Content-Type has to be application/json");
    }
}

Kernel::Json::Value ParseBody(const std::string& body) {
    constexpr int MaxDepth = 16;
    std::optional<Kernel::Json::Value> value = Kernel::Json::Parse(body, MaxDepth);
    if (!value) {
        throw Refusal(400, "the body is not well-formed JSON in UTF-8, or nests too deeply");
    }
    if (!value->is_object()) {
        throw Refusal(400, "the body is no JSON object");
    }
    return std::move(*value);
}

std::string TakeText(const Kernel::Json::Value& object, const std::string& key) {
    const auto member = object.find(key);
    if (member == object.end()) {
        throw Refusal(400, "the member \"" + key + "\" is missing");
    }
    if (!member->is_string()) {
        throw Refusal(400, "the member \"" + key + "\" is no text");
    }
    return std::string(std::string_view(member->get_ref<const Kernel::Json::String&>()));
}

void CheckBuild(const Kernel::Json::Value& object) {
    const auto build = object.find(BuildKey);
    if (build == object.end() || !build->is_number_integer()) {
        throw Refusal(400, std::string("the member \"") + BuildKey + "\" is missing or no integer");
    }
}

void CheckKeys(const Kernel::Json::Value& object, const Envelope& known) {
    constexpr std::size_t MaxShown = 64;
    for (const auto& member : object.items()) {
        const std::string_view key = member.key();
        if (key != BuildKey && !known.texts.contains(key)) {
            throw Refusal(400, std::string("this operation has no member \"") +
                                   Kernel::MakePrintable(key.substr(0, MaxShown)).c_str() + '"');
        }
    }
}

Envelope Read(const std::string& body, const std::vector<std::string>& keys) {
    const Kernel::Json::Value object = ParseBody(body);
    CheckBuild(object);
    Envelope envelope;
    for (const char* const key : CredentialKeys) {
        envelope.texts.emplace(key, TakeText(object, key));
    }
    for (const std::string& key : keys) {
        envelope.texts.emplace(key, TakeText(object, key));
    }
    CheckKeys(object, envelope);
    return envelope;
}

}  // namespace

Envelope ReadEnvelope(const Server::Request& request, const std::vector<std::string>& keys) {
    constexpr std::size_t LargeSize = std::size_t{64} << 10;
    CheckHead(request);
    if (request.body.size() <= LargeSize) {
        return Read(request.body, keys);
    }
    // A value takes tens of times the memory of its text: large ones, one after the other.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    return Read(request.body, keys);
}

}  // namespace Service
