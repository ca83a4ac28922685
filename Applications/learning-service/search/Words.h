// The words of English texts, in the form in which they are compared.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Service {

/// The words that tell what `text` is about, in their order, at most `maxCount`: in small letters,
/// in one spelling and without endings, so that "Enlarging" and "enlarges" are the same; without
/// single letters and those words that every text has, such as "the". Letters outside ASCII count
/// as they are.
std::vector<std::string> FindWords(std::string_view text, std::size_t maxCount);

}  // namespace Service
