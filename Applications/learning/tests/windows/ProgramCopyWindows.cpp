#include "support/TestFolder.h"
#include "tests/ProgramCopy.h"

namespace LearningApp::Testing {

ProgramCopy CopyProgram(const std::string& folder) {
    const std::filesystem::path program = Support::ToPath(LEARNING_PROGRAM);
    for (const std::string& name : Support::GetNames(program.parent_path())) {
        if (name.ends_with(".dll") && name != "onnxruntime.dll") {
            Support::DuplicateFile(Support::FromPath(program.parent_path()) + '/' + name,
                                   folder + name);
        }
    }
    const std::string copy = folder + Support::FromPath(program.filename());
    Support::DuplicateFile(LEARNING_PROGRAM, copy);
    return {copy, folder + "onnxruntime.dll", {.environment = {{"LC_ALL", "C"}}}};
}

}  // namespace LearningApp::Testing
