// Sizes and times as people read them.

#pragma once

#include <string>

namespace LearningApp {

/// Three digits and a unit: "512 B", "30.1 MB".
std::string FormatSize(double bytes);
/// For example "0:03" and "1:02:03".
std::string FormatDuration(double seconds);

}  // namespace LearningApp
