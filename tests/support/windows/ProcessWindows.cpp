#include "support/Process.h"
#include "support/TestFolder.h"

#include <windows.h>

#include <map>
#include <stdexcept>
#include <thread>

namespace Support {

namespace {

struct Close {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, Close>;

/// `word` so that the C library of a program finds it as one argument.
std::wstring Quote(const std::wstring& word) {
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'"') {
            quoted.append(backslashes + 1, L'\\');
        }
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        quoted += c;
    }
    return quoted.append(backslashes, L'\\') + L'"';
}

std::wstring MakeLine(const Command& command) {
    if (command.words.empty()) {
        return L"cmd.exe /d /s /c \"" + ToPath(command.line).native() + L'"';
    }
    std::wstring line;
    for (const std::string& word : command.words) {
        line += (line.empty() ? L"" : L" ") + Quote(ToPath(word).native());
    }
    return line;
}

struct IsBefore {
    bool operator()(const std::wstring& left, const std::wstring& right) const {
        return CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1, TRUE) == CSTR_LESS_THAN;
    }
};

std::wstring MakeEnvironment(const Command& command) {
    std::map<std::wstring, std::wstring, IsBefore> variables;
    wchar_t* const block = GetEnvironmentStringsW();
    for (const wchar_t* line = block; *line != L'\0';) {
        const std::wstring text = line;
        const std::size_t equals = text.find(L'=', 1);  // names of drives start with one
        variables[text.substr(0, equals)] = text.substr(equals + 1);
        line += text.size() + 1;
    }
    FreeEnvironmentStringsW(block);
    for (const auto& [name, value] : command.environment) {
        variables.erase(ToPath(name).native());
        if (value) {
            variables[ToPath(name).native()] = ToPath(*value).native();
        }
    }
    std::wstring made;
    for (const auto& [name, value] : variables) {
        made += name + L'=' + value + L'\0';
    }
    return made + L'\0';
}

Handle CreateInherited(const std::string& path) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return Handle(CreateFileW(ToPath(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                              CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

void WriteAll(HANDLE end, const std::string& text) {
    DWORD count = 0;
    for (std::size_t done = 0; done < text.size(); done += count) {
        if (::WriteFile(end, text.data() + done, static_cast<DWORD>(text.size() - done), &count,
                        nullptr) == 0) {
            return;
        }
    }
}

BOOL WINAPI Ignore(DWORD /*event*/) noexcept {
    return TRUE;
}

}  // namespace

struct Process::State {
    /// With the stream `in`, and the files "out" and "err".
    void Start(const Command& command, HANDLE in) {
        const Handle out = CreateInherited(folder.At("out"));
        const Handle err = CreateInherited(folder.At("err"));
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdInput = in;
        start.hStdOutput = out.get();
        start.hStdError = err.get();
        std::wstring line = MakeLine(command);
        std::wstring environment = MakeEnvironment(command);
        const std::wstring place = ToPath(command.folder).native();
        PROCESS_INFORMATION information{};
        // A console of its own, to which its end can be sent and to nobody else's.
        if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                           CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT, environment.data(),
                           place.empty() ? nullptr : place.c_str(), &start, &information) == 0) {
            throw std::runtime_error("cannot start " + FromPath(line));
        }
        CloseHandle(information.hThread);
        process.reset(information.hProcess);
        id = information.dwProcessId;
    }

    TestFolder folder;
    Handle process;
    DWORD id = 0;
    std::jthread writer;
};

Process::Process(const Command& command) : m_state(std::make_unique<State>()) {
    HANDLE in = nullptr;
    HANDLE end = nullptr;
    if (CreatePipe(&in, &end, nullptr, 0) == 0) {
        throw std::runtime_error("no pipe");
    }
    const Handle reader(in);
    SetHandleInformation(in, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    m_state->writer =
        std::jthread([writer = Handle(end), text = command.input.value_or("")]() mutable {
            WriteAll(writer.get(), text);
            writer.reset();
        });
    m_state->Start(command, in);
}

Process::~Process() {
    if (m_state->process) {
        Kill();
        Wait();
    }
}

void Process::End(Ending ending) const {
    FreeConsole();
    if (AttachConsole(m_state->id) == 0) {
        return;  // it has none yet, or has ended
    }
    // For good: the event comes some time later.
    SetConsoleCtrlHandler(Ignore, TRUE);
    GenerateConsoleCtrlEvent(ending == Ending::Interrupt ? CTRL_C_EVENT : CTRL_BREAK_EVENT, 0);
    FreeConsole();
}

void Process::Kill() const {
    TerminateProcess(m_state->process.get(), static_cast<UINT>(STATUS_CONTROL_C_EXIT));
}

Outcome Process::Wait() {
    constexpr DWORD FirstError = 0xC0000000;  // of those with which the system ends processes
    WaitForSingleObject(m_state->process.get(), INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(m_state->process.get(), &code);
    m_state->process.reset();
    return {code >= FirstError ? -1 : static_cast<int>(code), ReadFile(m_state->folder.At("out")),
            ReadFile(m_state->folder.At("err"))};
}

}  // namespace Support
