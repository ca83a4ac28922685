// Kinds of picture that people have and that can't be read here.

#pragma once

#include <string_view>

namespace LearningApp {

/// How many bytes from the start of a file FindPictureKind() looks at.
inline constexpr std::size_t KindSize = 512;

/// "a GIF picture" and the like, by the first bytes of a file; null if they are none that is known.
const char* FindPictureKind(std::string_view start) noexcept;

}  // namespace LearningApp
