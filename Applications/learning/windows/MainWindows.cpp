#include "Kernel/Utf.h"

#include "Main.h"

#include <string_view>

// The shells of Windows leave it to programs to find the files that "*.jpg" means: MinGW's start of
// a program does it if this says so, for words without quotation marks. MSVC's does it where
// wsetargv.obj is linked.
extern "C" int _dowildcard;
int _dowildcard = -1;

int wmain(int argc, wchar_t** argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        const std::wstring_view wide(argv[i]);
        const Kernel::String text = Kernel::FromUtf16(std::u16string(wide.begin(), wide.end()));
        arguments.emplace_back(std::string_view(text));
    }
    LearningApp::RunProgram(arguments);
}
