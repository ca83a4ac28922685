#include "inference/windows/ClassActivation.h"

#include "inference/windows/ModuleLoading.h"

#include <hstring.h>

#include <cwchar>
#include <string>
#include <type_traits>

namespace Learning {

namespace {

struct LibraryFree {
    void operator()(HMODULE library) const noexcept { FreeLibrary(library); }
};
using LibraryOwner = std::unique_ptr<std::remove_pointer_t<HMODULE>, LibraryFree>;

/// Whether `function` was set.
template <class Function>
bool Find(HMODULE library, const char* name, Function& function) noexcept {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    return function != nullptr;
}

/// Found when they are needed, so that nobody has to link them.
struct SystemFunctions {
    HRESULT(WINAPI* createStringReference)(const wchar_t*, UINT32, HSTRING_HEADER*, HSTRING*);
    HRESULT(WINAPI* getActivationFactory)(HSTRING, const GUID&, void**);
    HRESULT(WINAPI* incrementMTAUsage)(void**);
};

SystemFunctions FindSystemFunctions() {
    const LoadedModule library = LoadModule(L"combase.dll", LOAD_LIBRARY_SEARCH_SYSTEM32);
    CheckResult(HRESULT_FROM_WIN32(library.error));
    SystemFunctions functions{};
    const bool areThere =
        Find(library.handle, "WindowsCreateStringReference", functions.createStringReference) &&
        Find(library.handle, "RoGetActivationFactory", functions.getActivationFactory) &&
        Find(library.handle, "CoIncrementMTAUsage", functions.incrementMTAUsage);
    CheckResult(areThere ? S_OK : HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND));
    return functions;
}

const SystemFunctions& GetSystemFunctions() {
    static const SystemFunctions functions = FindSystemFunctions();
    return functions;
}

/// The name of a class as the Windows Runtime takes it: lends the text.
class ClassName {
public:
    explicit ClassName(const wchar_t* text) {
        CheckResult(GetSystemFunctions().createStringReference(
            text, static_cast<UINT32>(std::wcslen(text)), &m_header, &m_name));
    }
    ClassName(const ClassName&) = delete;
    ClassName& operator=(const ClassName&) = delete;

    HSTRING Get() const noexcept { return m_name; }

private:
    HSTRING_HEADER m_header{};
    HSTRING m_name = nullptr;
};

HRESULT AskSystem(const ClassName& name, const GUID& interfaceId, void** factory) {
    const SystemFunctions& system = GetSystemFunctions();
    const HRESULT result = system.getActivationFactory(name.Get(), interfaceId, factory);
    if (result != CO_E_NOTINITIALIZED) {
        return result;
    }
    static void* usage = nullptr;  // lasts as long as the factories that are kept
    [[maybe_unused]] static const HRESULT isUsed = system.incrementMTAUsage(&usage);
    return system.getActivationFactory(name.Get(), interfaceId, factory);
}

/// Null if the DLL `file` is missing or does not know the class.
ComOwner<ComObject> AskLibrary(const std::wstring& file, const ClassName& name,
                               const GUID& interfaceId) {
    LibraryOwner library(LoadModule(file.c_str(), LOAD_LIBRARY_SEARCH_DEFAULT_DIRS).handle);
    using GetFactory = HRESULT(WINAPI*)(HSTRING, ComObject**);
    GetFactory getFactory = nullptr;
    if (!library || !Find(library.get(), "DllGetActivationFactory", getFactory)) {
        return nullptr;
    }
    ComObject* object = nullptr;
    if (FAILED(getFactory(name.Get(), &object)) || object == nullptr) {
        return nullptr;
    }
    const ComOwner<ComObject> owner(object);
    void* factory = nullptr;
    if (FAILED(object->QueryInterface(interfaceId, &factory)) || factory == nullptr) {
        return nullptr;
    }
    [[maybe_unused]] HMODULE staysLoaded = library.release();
    return ComOwner<ComObject>(static_cast<ComObject*>(factory));
}

}  // namespace

ComOwner<ComObject> GetActivationFactory(const wchar_t* name, const GUID& interfaceId) {
    const ClassName className(name);
    void* factory = nullptr;
    const HRESULT result = AskSystem(className, interfaceId, &factory);
    if (SUCCEEDED(result) && factory != nullptr) {
        return ComOwner<ComObject>(static_cast<ComObject*>(factory));
    }
    std::wstring space = name;
    for (auto dot = space.rfind(L'.'); dot != std::wstring::npos; dot = space.rfind(L'.')) {
        space.resize(dot);
        if (auto found = AskLibrary(space + L".dll", className, interfaceId)) {
            return found;
        }
    }
    CheckResult(FAILED(result) ? result : E_POINTER);
    return nullptr;
}

}  // namespace Learning
