// The languages that the system knows its user to want.

#pragma once

#include <string>

namespace LearningApp {

/// As the environment variable LANGUAGE has them, such as "de_AT:de:en_US"; empty where there is
/// nothing but the environment to tell.
std::string GetSystemLanguages();

}  // namespace LearningApp
