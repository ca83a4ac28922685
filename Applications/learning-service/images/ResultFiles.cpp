#include "images/ResultFiles.h"

#include "envelope/Rejection.h"

#include <algorithm>
#include <charconv>

namespace Service {

namespace {

Response SendFile(const char* type, std::string bytes) {
    return {200, {{"Content-Type", type}, {"Cache-Control", "no-store"}}, std::move(bytes)};
}

/// The index that a file of `job` has in its name; nothing if it has none, or is not done.
std::optional<int> FindIndex(const Studio& studio, const Job& job, std::string_view name) {
    const std::string ending = std::string(".") + job.extension;
    const bool isDone =
        job.timer.GetElapsedMilliseconds() >= static_cast<double>(studio.pending.count());
    if (!isDone || !name.ends_with(ending)) {
        return {};
    }
    const std::optional<int> index = ParseIndex(name.substr(0, name.size() - ending.size()));
    return index && *index < job.count ? index : std::nullopt;
}

}  // namespace

std::optional<int> ParseIndex(std::string_view text) {
    constexpr std::size_t MaxDigits = 4;
    const bool isNumber = std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
    if (text.empty() || text.size() > MaxDigits || !isNumber ||
        (text.size() > 1 && text[0] == '0')) {
        return {};
    }
    int index = 0;
    std::from_chars(text.data(), text.data() + text.size(), index);
    return index;
}

Response ResultOperation::Handle(const Server::Request& request, const std::string& path) const {
    if (request.method != "GET" && request.method != "HEAD") {
        return Refuse(405, "results can only be fetched", {{"Allow", "GET, HEAD"}});
    }
    const std::string token = path.substr(0, path.find('/'));
    const std::string name = path.substr(std::min(path.size(), token.size() + 1));
    if (const std::shared_ptr<const Job> job = m_studio.jobs.FindByToken(token)) {
        if (const std::optional<int> index = FindIndex(m_studio, *job, name)) {
            try {
                const Workbench::Seat seat = m_studio.bench.Enter();
                return SendFile(
                    std::string_view(job->extension) == "png" ? "image/png" : "image/jpeg",
                    job->draw(*index));
            } catch (const Rejection&) {
                return Refuse(503, "there is too much to do; try again later");
            }
        }
    }
    if (const std::shared_ptr<Upload> upload = m_studio.uploads.FindByToken(token)) {
        const std::lock_guard lock(upload->mutex);
        if (name == ArchiveName && !upload->archive.empty()) {
            return SendFile("application/zip", upload->archive);
        }
    }
    return Refuse(404, "there is no such result, or not any more");
}

}  // namespace Service
