#include "support/TestFolder.h"
#include "tests/ProgramCopy.h"

namespace LearningApp::Testing {

// The library looks for the runtime in the folder of the module that holds its code: a shared
// library, found on the path, or the program.
ProgramCopy CopyProgram(const std::string& folder) {
    const std::filesystem::path module(LEARNING_MODULE);
    const std::string copy = folder + module.filename().string();
    Support::DuplicateFile(LEARNING_MODULE, copy);
    const bool isProgram = module == LEARNING_PROGRAM;
    return {isProgram ? copy : LEARNING_PROGRAM,
            folder + "libonnxruntime.so.1",
            {.environment = {{"LC_ALL", "C"}, {"LD_LIBRARY_PATH", folder}}}};
}

}  // namespace LearningApp::Testing
