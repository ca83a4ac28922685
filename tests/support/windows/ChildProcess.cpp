#include "support/windows/ChildProcess.h"

#include "support/TestFolder.h"

#include <windows.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <utility>

namespace Support {

namespace {

constexpr DWORD TimeLimit = 60'000;  // in milliseconds

struct HandleClose {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using HandleOwner = std::unique_ptr<void, HandleClose>;

/// A file, since a pipe would have to be read meanwhile.
HandleOwner OpenOutput(const std::filesystem::path& path) {
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return HandleOwner(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                   CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

/// Of the process, which may go on.
HandleOwner Start(const std::filesystem::path& program, const std::string& arguments,
                  HANDLE output) {
    std::wstring command = L'"' + program.wstring() + L"\" " + ToPath(arguments).wstring();
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output;
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                       program.parent_path().c_str(), &startup, &process) == 0) {
        throw std::runtime_error("a program can't be started: " + FromPath(program));
    }
    CloseHandle(process.hThread);
    return HandleOwner(process.hProcess);
}

}  // namespace

ChildResult RunChild(const std::string& path, const std::string& arguments) {
    const TestFolder folder;
    const std::filesystem::path program = ToPath(path);
    HandleOwner output = OpenOutput(ToPath(folder.At("output")));
    const HandleOwner process = Start(program, arguments, output.get());
    if (WaitForSingleObject(process.get(), TimeLimit) != WAIT_OBJECT_0) {
        TerminateProcess(process.get(), 1);
        throw std::runtime_error("a program does not end: " + path + " " + arguments);
    }
    output.reset();
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    std::string text = ReadFile(folder.At("output"));
    std::erase(text, '\r');
    return {code, text};
}

}  // namespace Support
