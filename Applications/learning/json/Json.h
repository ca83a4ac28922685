// Writing JSON (RFC 8259) for other programs: values as texts, which are put together.

#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace LearningApp {

/// `text` in quotation marks, in well-formed UTF-8: what is ill-formed becomes U+FFFD. Control
/// characters are written as numbers, so that a terminal that shows the result obeys none.
std::string QuoteJson(std::string_view text);

/// Members in their order; their values are JSON already.
std::string MakeJsonObject(const std::vector<std::pair<std::string, std::string>>& members);

/// Elements that are JSON already.
std::string MakeJsonArray(const std::vector<std::string>& elements);

}  // namespace LearningApp
