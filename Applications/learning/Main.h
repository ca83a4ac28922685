// The program `learning`: the console around RunLearning().

#pragma once

#include <string>
#include <vector>

namespace LearningApp {

/// Does what `arguments`, which are UTF-8, say, and ends the process.
[[noreturn]] void RunProgram(const std::vector<std::string>& arguments);

}  // namespace LearningApp
