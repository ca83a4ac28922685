#include "records/RecordBook.h"

#include "Kernel/Json.h"

#include "time/LocalTime.h"

#include <chrono>
#include <sstream>
#include <string_view>

namespace Service {

namespace {

constexpr const char* HintKey = "hint";
constexpr std::size_t MaxRecords = std::size_t{64} << 20;  // bytes

void AppendRecord(const PrivateLog& log, Kernel::Json::Value record) {
    record["time"] = FormatLocalTime(std::chrono::system_clock::now());
    log.Append(Kernel::Json::ToString(record), MaxRecords);
}

}  // namespace

RecordBook::RecordBook(const std::string& path) {
    if (!path.empty()) {
        m_log.emplace(path);
        ReadHints(path);
    }
}

/// Takes lines that are no records, such as one that was not written whole, for none.
void RecordBook::ReadHints(const std::string& path) {
    constexpr int MaxDepth = 2;
    std::istringstream lines(ReadPrivateFile(path, MaxRecords));
    for (std::string line; std::getline(lines, line);) {
        const std::optional<Kernel::Json::Value> record = Kernel::Json::Parse(line, MaxDepth);
        if (record && record->is_object() && record->contains(HintKey)) {
            const Kernel::Json::Value& hint = record->at(HintKey);
            if (hint.is_string()) {
                m_hints.Add(
                    std::string(std::string_view(hint.get_ref<const Kernel::Json::String&>())));
            }
        }
    }
}

void RecordBook::AddHint(const std::string& hint) {
    const std::lock_guard lock(m_mutex);
    if (m_log) {
        AppendRecord(*m_log, {{HintKey, hint}});
    }
    m_hints.Add(hint);
}

void RecordBook::AddIssue(const std::string& issue, const std::string& code) {
    const std::lock_guard lock(m_mutex);
    if (m_log) {
        AppendRecord(*m_log, {{"issue", issue}, {"code", code}});
    }
}

std::vector<std::string> RecordBook::FindHints(const Query& query) const {
    const std::lock_guard lock(m_mutex);
    return m_hints.Find(query);
}

}  // namespace Service
