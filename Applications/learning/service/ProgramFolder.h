// Where this program is.

#pragma once

#include <string>

namespace LearningApp {

/// The folder of the program's file with a separator at its end; "./" if that can't be found out.
std::string GetProgramFolder();

}  // namespace LearningApp
