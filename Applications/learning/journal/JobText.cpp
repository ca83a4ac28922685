#include "journal/JobText.h"

#include "Kernel/FileStreams.h"
#include "Kernel/IoException.h"
#include "Kernel/Json.h"
#include "Kernel/Utf.h"

#include "failures/Failure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace LearningApp {

namespace {

using Kernel::Json::Value;
using Operation = JobEntry::Operation;

constexpr std::array Operations{"generate", "edit", "replace-object"};  // in their order

constexpr std::array<std::pair<const char*, std::string JobEntry::*>, 5> Texts{{
    {"job", &JobEntry::job},
    {"output", &JobEntry::output},
    {"model", &JobEntry::model},
    {"photo", &JobEntry::photo},
    {"object", &JobEntry::object},
}};
constexpr std::array<std::pair<const char*, int JobEntry::*>, 3> Numbers{{
    {"count", &JobEntry::count},
    {"width", &JobEntry::width},
    {"height", &JobEntry::height},
}};
constexpr std::array<std::pair<const char*, bool JobEntry::*>, 3> Flags{{
    {"enhanced", &JobEntry::isEnhanced},
    {"expanded", &JobEntry::isExpanded},
    {"begun", &JobEntry::isBegun},
}};

constexpr int LastAlphaMode = static_cast<int>(Learning::ImageToImageAlphaMode::Automatic);
constexpr std::int64_t MaximumNumber = 1'000'000;
constexpr std::int64_t MaximumTime = 4'102'444'800;  // the year 2100
constexpr std::size_t MaximumTextSize = 8192;        // bytes, twice what paths may have on Linux

void Demand(bool isGood) {
    if (!isGood) {
        throw Kernel::IoException("damaged");
    }
}

std::string ReadText(const Value& object, const char* key) {
    return std::string(std::string_view(object.at(key).get_ref<const Kernel::String&>()));
}

std::int64_t ReadNumber(const Value& object, const char* key, std::int64_t minimum,
                        std::int64_t maximum) {
    const auto number = object.at(key).get_ref<const std::int64_t&>();
    Demand(number >= minimum && number <= maximum);
    return number;
}

JobEntry ReadObject(const Value& object) {
    JobEntry entry;
    const auto* const operation = std::ranges::find(Operations, ReadText(object, "command"));
    Demand(operation != Operations.end());
    entry.operation = static_cast<Operation>(operation - Operations.begin());
    for (const auto& [key, member] : Texts) {
        entry.*member = ReadText(object, key);
        // The service names jobs as it likes.
        Demand(member == &JobEntry::job || !Kernel::HasZeroByte(entry.*member));
    }
    for (const auto& [key, member] : Numbers) {
        entry.*member = static_cast<int>(ReadNumber(object, key, 0, MaximumNumber));
    }
    for (const auto& [key, member] : Flags) {
        entry.*member = object.at(key).get_ref<const bool&>();
    }
    entry.alphaMode =
        static_cast<Learning::ImageToImageAlphaMode>(ReadNumber(object, "alpha", 0, LastAlphaMode));
    entry.time = ReadNumber(object, "time", 0, MaximumTime);
    return entry;
}

}  // namespace

const char* GetCommandName(Operation operation) noexcept {
    return Operations[static_cast<std::size_t>(operation)];
}

void CheckText(const JobEntry& entry) {
    for (const auto& [key, member] : Texts) {
        const std::string& text = entry.*member;
        if (!Kernel::IsValidUtf8(text) || text.size() > MaximumTextSize) {
            throw WrongUse(
                "the job could not be noted, since %1 is not UTF-8 or too long: rename it", text);
        }
    }
}

std::string ToText(const JobEntry& entry) {
    Value object = {{"command", GetCommandName(entry.operation)},
                    {"alpha", static_cast<std::int64_t>(entry.alphaMode)},
                    {"time", entry.time}};
    for (const auto& [key, member] : Texts) {
        object[key] = Kernel::String(entry.*member);
    }
    for (const auto& [key, member] : Numbers) {
        object[key] = std::int64_t{entry.*member};
    }
    for (const auto& [key, member] : Flags) {
        object[key] = entry.*member;
    }
    return std::string(std::string_view(Kernel::Json::ToString(object))) + '\n';
}

std::optional<JobEntry> ReadEntry(const std::string& path) {
    // Texts may take six times their size when they are written.
    constexpr std::uint64_t MaximumSize = 6 * Texts.size() * MaximumTextSize;
    constexpr int Depth = 2;
    try {
        const auto file = Kernel::FileInStream::Open(path);
        if (file->GetSize() > MaximumSize) {
            return std::nullopt;
        }
        std::string text(file->GetSize(), '\0');
        text.resize(file->ReadFully(std::as_writable_bytes(std::span(text))));
        const std::optional<Value> object = Kernel::Json::Parse(text, Depth);
        return object ? std::optional(ReadObject(*object)) : std::nullopt;
    } catch (const Value::exception&) {  // of another type, or missing
        return std::nullopt;
    } catch (const Kernel::IoException&) {
        return std::nullopt;
    }
}

}  // namespace LearningApp
