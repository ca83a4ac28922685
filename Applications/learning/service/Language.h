// The language of messages.

#pragma once

#include <string>
#include <vector>

namespace LearningApp {

/// The languages that the user wants, most wanted first, such as "de_DE" and "de"; none for
/// English. As GNU gettext finds them in the environment, LANGUAGE, LC_ALL, LC_MESSAGES and LANG;
/// where it names none, as GetSystemLanguages() tells them.
std::vector<std::string> FindUsersLanguages();

/// Lets the libraries' messages be in the first of these languages that there is a translation
/// for, beside this program.
void SpeakUsersLanguage();

}  // namespace LearningApp
