// Writing JSON (RFC 8259) for other programs: values as texts, which are put together.

#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace LearningApp {

/// JSON without line feeds, in well-formed UTF-8: what is ill-formed becomes U+FFFD. What a
/// terminal would not show (Kernel::MakePrintable()) is written as numbers, so that it obeys none
/// of it and programs still read the same.
std::string EscapeHidden(std::string_view json);

/// `text` in quotation marks, as EscapeHidden() writes it.
std::string QuoteJson(std::string_view text);

/// Members in their order; their values are JSON already.
std::string MakeJsonObject(const std::vector<std::pair<std::string, std::string>>& members);

/// Elements that are JSON already.
std::string MakeJsonArray(const std::vector<std::string>& elements);

}  // namespace LearningApp
