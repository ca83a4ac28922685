// The command line of `learning-service`, in full: options, help, messages and exit codes.

#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Service {

class Wishes;

/// Serves as `arguments` say, which do not include the program's name, until there is the wish to
/// end. Returns the exit code: 0 for done, 1 for failed, 2 for wrong use; the reason is then on
/// `err`. Throws nothing.
int RunService(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
               Wishes& wishes);

}  // namespace Service
