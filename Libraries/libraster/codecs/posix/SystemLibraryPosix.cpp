#include "Raster/CodecException.h"

#include "codecs/SystemLibrary.h"

#include <dlfcn.h>

#include <string>

namespace Raster {

namespace {

[[noreturn]] void ThrowUnusable(const char* kind, const char* name) {
    const char* const reason = dlerror();
    throw CodecException(std::string(kind) + " pictures can't be read without the library " + name +
                         ": " + (reason != nullptr ? reason : "it is damaged"));
}

}  // namespace

SystemLibrary::SystemLibrary(const char* kind, const char* name)
    : m_kind(kind), m_name(name), m_handle(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) {
        ThrowUnusable(kind, name);
    }
}

void* SystemLibrary::Find(const char* functionName) const {
    void* const function = dlsym(m_handle, functionName);
    if (function == nullptr) {
        ThrowUnusable(m_kind, m_name);
    }
    return function;
}

}  // namespace Raster
