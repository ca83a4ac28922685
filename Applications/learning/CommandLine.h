// The command line of `learning`, in full: options, help, messages and exit codes.

#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace LearningApp {

/// Runs the program with `arguments`, which do not include its name. Returns its exit code: 0 for
/// done, 1 for failed, 2 for wrong use, 130 for work that Ctrl-C has ended in order; the reason is
/// then on `err`; all that was said is flushed. `isTerminal`: whether `err` can show a progress
/// bar. Throws nothing.
///
/// Threads: one at a time, as the settings of the inference library belong to the process.
int RunLearning(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                bool isTerminal = false);

}  // namespace LearningApp
