// The styles of pictures, as users write them.

#pragma once

#include "Learning/RemoteOptions.h"

#include <string>
#include <string_view>

namespace LearningApp {

/// The style of that name, such as "Pop art" or "pop-art", in upper or lower case and in either
/// spelling of colour. Throws WrongUse if there is none.
Learning::GenerationStyle FindStyle(std::string_view name);

/// All styles in the form "pop-art", in one text.
std::string ListStyles();

}  // namespace LearningApp
