#include "operations/Router.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace Service {

namespace {

/// `text` with each "%41" decoded; nothing if an escape is not well formed, or if the result holds
/// a control character.
std::optional<std::string> Unescape(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned char code = static_cast<unsigned char>(text[i]);
        if (text[i] == '%') {
            const std::string_view digits = text.substr(i + 1, 2);
            const char* const end =
                std::from_chars(digits.data(), digits.data() + digits.size(), code, 16).ptr;
            if (end - digits.data() != 2) {
                return {};
            }
            i += 2;
        }
        if (code < 0x20 || code == 0x7F) {
            return {};
        }
        plain += static_cast<char>(code);
    }
    return plain;
}

/// The path that a request's target names: "/a b" for "/a%20b?c" and "http://host/a%20b".
std::optional<std::string> GetPath(std::string_view target) {
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (target.starts_with(scheme)) {
            target.remove_prefix(std::min(target.find('/', scheme.size()), target.size()));
        }
    }
    if (!target.starts_with('/')) {
        return {};
    }
    return Unescape(target.substr(0, target.find('?')));
}

}  // namespace

void Router::Mount(std::string path, std::unique_ptr<Operation> operation) {
    m_entries.push_back({std::move(path), std::move(operation)});
    std::ranges::stable_sort(m_entries, std::ranges::greater(),
                             [](const Entry& entry) { return entry.path.size(); });
}

const Router::Entry* Router::Find(const std::string& path) const {
    const auto entry = std::ranges::find_if(m_entries, [&path](const Entry& mounted) {
        return mounted.path.ends_with('/') ? path.starts_with(mounted.path) : path == mounted.path;
    });
    return entry != m_entries.end() ? &*entry : nullptr;
}

Response Router::Route(const Server::Request& request) const {
    const std::optional<std::string> path = GetPath(request.target);
    if (!path) {
        return Refuse(400, "the target of the request is not a path");
    }
    const Entry* const entry = Find(*path);
    if (entry == nullptr) {
        return Refuse(404, "there is nothing at this path");
    }
    return entry->operation->Handle(request, path->substr(entry->path.size()));
}

std::size_t Router::GetBodyLimit(const Server::Request& head) const {
    const std::optional<std::string> path = GetPath(head.target);
    const Entry* const entry = path ? Find(*path) : nullptr;
    return entry != nullptr ? entry->operation->GetBodyLimit() : 0;
}

}  // namespace Service
