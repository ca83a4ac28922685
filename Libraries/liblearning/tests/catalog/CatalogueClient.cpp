// Opens models for an accelerator and writes what came of each. Its arguments are what it does, one
// after the other; at last it writes what the catalogue that it has found has to tell.

#include "Learning/ModelCache.h"
#include "Learning/PlatformError.h"

#include "support/Threads.h"
#include "support/windows/ReplacedFunction.h"
#include "tests/TestModels.h"

#include <windows.h>
#include <unknwn.h>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

namespace Learning {
namespace {

int timesAsked = 0;
int timesInitialised = 0;

/// What the system's function answers when it has been replaced, until the apartment is there: the
/// argument "system=80004005" for example. With the argument "apartment" it then knows the class.
HRESULT answerOfSystem = S_OK;
bool knowsClass = false;

HRESULT WINAPI GetFactory(void* name, const GUID& id, void** factory) {
    ++timesAsked;
    if (!knowsClass || timesInitialised == 0) {
        return answerOfSystem;
    }
    using Get = HRESULT WINAPI(void* name, IUnknown** factory);
    const HMODULE library = LoadLibraryW(L"Catalogue.dll");
    const FARPROC function = GetProcAddress(library, "DllGetActivationFactory");
    IUnknown* object = nullptr;
    reinterpret_cast<Get*>(reinterpret_cast<void*>(function))(name, &object);
    const HRESULT result = object->QueryInterface(id, factory);
    object->Release();
    return result;
}

HRESULT WINAPI InitialiseApartment(void** usage) {
    ++timesInitialised;
    *usage = &timesInitialised;
    return S_OK;
}

void ReplaceSystem(HRESULT answer) {
    answerOfSystem = answer;
    const HMODULE system = LoadLibraryW(L"combase.dll");
    static const Support::ReplacedFunction factory(system, "RoGetActivationFactory",
                                                   reinterpret_cast<void*>(&GetFactory));
    static const Support::ReplacedFunction apartment(system, "CoIncrementMTAUsage",
                                                     reinterpret_cast<void*>(&InitialiseApartment));
}

void Open(Model::EP ep) {
    std::string outcome;
    try {
        const Model model({TestModelPath("Add")}, ep);
        outcome = model.IsValid() ? "opened" : "invalid";
    } catch (const PlatformError& error) {
        char code[9];
        std::snprintf(code, sizeof code, "%08X", static_cast<unsigned>(error.GetCode()));
        const bool isInText = std::strstr(error.what(), code) != nullptr;
        outcome = isInText ? code : error.what();
    } catch (const std::exception& error) {
        outcome = error.what();
    }
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::printf("%s\n", outcome.c_str());
}

void Do(std::string_view what) {
    constexpr std::string_view System = "system=";
    if (what == "open") {
        Open(Model::Default);
    } else if (what == "cpu") {
        Open(Model::CPUOnly);
    } else if (what == "threads") {
        Support::RunOnThreads(6, [](int /*thread*/) { Open(Model::Default); });
    } else if (what == "install") {
        std::filesystem::copy_file("Catalogue.dll", "Microsoft.dll");
    } else if (what == "apartment") {
        knowsClass = true;
    } else if (what.starts_with(System)) {
        ReplaceSystem(
            static_cast<HRESULT>(std::stoul(std::string(what.substr(System.size())), nullptr, 16)));
    }
}

/// What the DLL `name` has to tell, if it is loaded.
void Report(const char* name) {
    const HMODULE library = GetModuleHandleA(name);
    using GetReport = void(char* text, std::size_t size);
    const FARPROC function = library != nullptr ? GetProcAddress(library, "GetReport") : nullptr;
    if (function != nullptr) {
        char text[100];
        reinterpret_cast<GetReport*>(reinterpret_cast<void*>(function))(text, sizeof text);
        std::printf("%s: %s\n", name, text);
    }
}

}  // namespace
}  // namespace Learning

int main(int count, char** arguments) {
    using namespace Learning;
    ModelCache::GetInstance().SetInferenceMode(ModelCache::MaxPerformance);
    for (int i = 1; i < count; ++i) {
        Do(arguments[i]);
    }
    for (const char* const name :
         {"Microsoft.Windows.AI.MachineLearning.dll", "Microsoft.Windows.AI.dll",
          "Microsoft.Windows.dll", "Microsoft.dll", "Catalogue.dll"}) {
        Report(name);
    }
    if (timesAsked > 0) {
        std::printf("asked %d times, initialised %d times\n", timesAsked, timesInitialised);
    }
    return 0;
}
