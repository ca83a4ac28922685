// Objects of Windows' component model: their owners, and the results of their functions.

#pragma once

#include <windows.h>

#include <memory>

namespace Learning {

/// What every object has. Not the system's own declaration, whose destructor anybody may call.
class ComObject {
public:
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(const GUID& id, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~ComObject() = default;
};

/// Throws PlatformError if `result` is a failure.
void CheckResult(HRESULT result);

struct ComRelease {
    void operator()(ComObject* object) const noexcept { object->Release(); }
};

/// Owns one reference to an object, or is null.
template <class Interface>
using ComOwner = std::unique_ptr<Interface, ComRelease>;

/// The object that `function` puts where it is told to. Throws PlatformError if it fails or puts
/// none there.
template <class Interface, class Function>
ComOwner<Interface> Receive(const Function& function) {
    Interface* object = nullptr;
    CheckResult(function(&object));
    CheckResult(object != nullptr ? S_OK : E_POINTER);
    return ComOwner<Interface>(object);
}

}  // namespace Learning
