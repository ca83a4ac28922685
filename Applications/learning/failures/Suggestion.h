// What the user may have meant by a word that means nothing.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace LearningApp {

/// "; did you mean --output?" for the one of `words` that is nearest to `word`, in upper or lower
/// case; empty if none is near.
std::string Suggest(std::string_view word, const std::vector<std::string>& words);

}  // namespace LearningApp
