#include "envelope/Envelope.h"

#include "Kernel/Json.h"
#include "Kernel/Utf.h"

#include "envelope/Refusal.h"

#include <limits>
#include <optional>

namespace Service {

namespace {

void CheckHead(const Server::Request& request) {
    if (request.method != "POST") {
        throw Refusal(405, "operations are asked for by POST", {{"Allow", "POST"}});
    }
    const std::string* const type = Server::FindHeader(request.headers, "Content-Type");
    if (type == nullptr || *type != "application/json") {
        throw Refusal(415, "the Content-Type has to be application/json");
    }
}

/// Whether there are more values than in any request. They take tens of times the memory of their
/// text, if it is made for that.
bool HasTooManyValues(std::string_view text) {
    constexpr int Max = 64;
    int count = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            do {
                i = text.find('"', i + 1);
            } while (i != std::string_view::npos && text[i - 1] == '\\' &&
                     (i - text.find_last_not_of('\\', i - 1)) % 2 == 0);
            if (i == std::string_view::npos) {
                return false;
            }
        } else if (text[i] == ',' || text[i] == '[' || text[i] == '{') {
            ++count;
        }
        if (count > Max) {
            return true;
        }
    }
    return false;
}

Kernel::Json::Value ParseBody(const std::string& body) {
    constexpr int MaxDepth = 16;
    if (HasTooManyValues(body)) {
        throw Refusal(400, "the body has too many members, or nests too deeply");
    }
    std::optional<Kernel::Json::Value> value = Kernel::Json::Parse(body, MaxDepth);
    if (!value) {
        throw Refusal(400, "the body is not well-formed JSON in UTF-8, or nests too deeply");
    }
    if (!value->is_object()) {
        throw Refusal(400, "the body is no JSON object");
    }
    return std::move(*value);
}

bool IsInteger(const Kernel::Json::Value& value) {
    constexpr std::uint64_t Max = std::numeric_limits<std::int64_t>::max();
    return value.is_number_integer() &&
           (!value.is_number_unsigned() || value.get<std::uint64_t>() <= Max);
}

/// The value if it is of that kind.
std::optional<Envelope::Member> ReadMember(const Kernel::Json::Value& value,
                                           MemberRule::Kind kind) {
    using Kind = MemberRule::Kind;
    if (kind == Kind::Text && value.is_string()) {
        return std::string(std::string_view(value.get_ref<const Kernel::Json::String&>()));
    }
    if (kind == Kind::Integer && IsInteger(value)) {
        return value.get<std::int64_t>();
    }
    if (kind == Kind::Number && value.is_number()) {
        return value.get<double>();
    }
    if (kind == Kind::Flag && value.is_boolean()) {
        return value.get<bool>();
    }
    return {};
}

void TakeMember(Kernel::Json::Value& object, const MemberRule& rule, Envelope& envelope) {
    constexpr const char* Names[] = {"text", "integer", "number", "boolean"};
    const auto member = object.find(rule.key);
    if (member == object.end()) {
        if (rule.isOptional) {
            return;
        }
        throw Refusal(400, std::string("the member \"") + rule.key + "\" is missing");
    }
    std::optional<Envelope::Member> value = ReadMember(*member, rule.kind);
    if (!value) {
        throw Refusal(400, std::string("the member \"") + rule.key + "\" is no " +
                               Names[static_cast<int>(rule.kind)]);
    }
    envelope.members.emplace(rule.key, std::move(*value));
    object.erase(member);  // which may be large
}

/// Refuses what is left when all members have been taken.
void CheckRest(const Kernel::Json::Value& object) {
    constexpr std::size_t MaxShown = 64;
    if (!object.empty()) {
        const auto first = object.begin();
        const std::string_view key = first.key();
        throw Refusal(400, std::string("this operation has no member \"") +
                               Kernel::MakePrintable(key.substr(0, MaxShown)).c_str() + '"');
    }
}

/// The address of the service as the client has it; empty if its Host is missing or none.
std::string GetOrigin(const Server::Request& request) {
    constexpr std::string_view Allowed =
        "0123456789-._:[]ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    constexpr std::size_t MaxSize = 260;
    const std::string* const host = Server::FindHeader(request.headers, "Host");
    if (host == nullptr || host->empty() || host->size() > MaxSize ||
        host->find_first_not_of(Allowed) != std::string::npos) {
        return {};
    }
    return (request.isOverTls ? "https://" : "http://") + *host;
}

}  // namespace

Envelope ReadEnvelope(const Server::Request& request, const std::vector<MemberRule>& rules) {
    CheckHead(request);
    Kernel::Json::Value object = ParseBody(request.body);
    Envelope envelope;
    envelope.origin = GetOrigin(request);
    TakeMember(object, {"client_build", MemberRule::Kind::Integer}, envelope);
    for (const char* const key : CredentialKeys) {
        TakeMember(object, {key}, envelope);
    }
    for (const MemberRule& rule : rules) {
        TakeMember(object, rule, envelope);
    }
    CheckRest(object);
    return envelope;
}

}  // namespace Service
