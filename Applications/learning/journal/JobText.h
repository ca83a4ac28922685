// Entries of the journal of jobs as text.

#pragma once

#include "journal/JobJournal.h"

#include <cstddef>
#include <optional>
#include <string>

namespace LearningApp {

inline constexpr std::size_t MaximumJobSize = 1024;  // bytes

/// Throws WrongUse for an entry whose paths JSON does not hold: they are not UTF-8, or very long.
void CheckText(const JobEntry& entry);

/// The entry in JSON.
std::string ToText(const JobEntry& entry);

/// What the file says; nothing if that is no entry.
std::optional<JobEntry> ReadEntry(const std::string& path);

}  // namespace LearningApp
