#include "service/SystemLanguages.h"

namespace LearningApp {

std::string GetSystemLanguages() {
    return {};
}

}  // namespace LearningApp
