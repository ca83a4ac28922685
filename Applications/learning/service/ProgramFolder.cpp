#include "service/ProgramFolder.h"

#include "Kernel/IoException.h"
#include "Kernel/ModuleFolder.h"

namespace LearningApp {

std::string GetProgramFolder() {
    try {
        const auto* const own = reinterpret_cast<const void*>(&GetProgramFolder);
        return std::string(std::string_view(Kernel::GetModuleFolder(own)));
    } catch (const Kernel::IoException&) {  // translations are all that is looked for there
        return "./";
    }
}

}  // namespace LearningApp
