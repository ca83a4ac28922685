#include "service/Language.h"

#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"
#include "Kernel/LocalisedString.h"

#include "service/ProgramFolder.h"
#include "service/SystemLanguages.h"

#include <algorithm>
#include <string_view>

namespace LearningApp {

namespace {

std::string GetVariable(const char* name) {
    return std::string(std::string_view(Kernel::GetEnv(name).value_or(Kernel::String())));
}

/// That of messages, such as "de_DE.UTF-8"; empty if the environment names none.
std::string GetLocaleName() {
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (std::string value = GetVariable(name); !value.empty()) {
            return value;
        }
    }
    return {};
}

/// In their order, with colons between them.
std::string FindLanguageNames() {
    const std::string locale = GetLocaleName();
    if (locale.empty()) {
        return GetSystemLanguages();
    }
    if (locale == "C" || locale == "POSIX" || locale.starts_with("C.")) {
        return {};
    }
    const std::string names = GetVariable("LANGUAGE");
    return names.empty() ? locale : names;
}

bool IsLanguage(std::string_view name) {
    return !name.empty() && std::ranges::all_of(name, [](unsigned char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
    });
}

}  // namespace

std::vector<std::string> FindUsersLanguages() {
    const std::string names = FindLanguageNames();
    std::vector<std::string> languages;
    for (std::string_view rest = names; !rest.empty();) {
        const std::string_view name = rest.substr(0, rest.find(':'));
        rest.remove_prefix(std::min(rest.size(), name.size() + 1));
        const std::string language(name.substr(0, name.find_first_of(".@")));
        const std::string general = language.substr(0, language.find('_'));
        if (general == "en" || general == "C") {
            break;
        }
        if (IsLanguage(language)) {
            languages.push_back(language);
            if (general != language) {
                languages.push_back(general);
            }
        }
    }
    return languages;
}

void SpeakUsersLanguage() {
    const std::string folder = GetProgramFolder() + LOCALE_FOLDER "/";
    for (const std::string& language : FindUsersLanguages()) {
        const std::string path = folder + language + "/LC_MESSAGES/orvantis.mo";
        if (Kernel::FileSystem::Exists(path) && Kernel::LocalisedString::SetCatalogue(path)) {
            return;
        }
    }
}

}  // namespace LearningApp
