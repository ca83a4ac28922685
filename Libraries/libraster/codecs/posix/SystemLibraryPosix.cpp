#include "Raster/CodecException.h"

#include "codecs/SystemLibrary.h"

#include <dlfcn.h>

namespace Raster {

namespace {

[[noreturn]] void ThrowUnusable(const char* kind, const std::string& file) {
    const char* const reason = dlerror();
    throw CodecException(std::string(kind) + " pictures can't be read without the library " + file +
                         ": " + (reason != nullptr ? reason : "it is damaged"));
}

}  // namespace

SystemLibrary::SystemLibrary(const char* kind, const std::string& name, int version)
    : m_kind(kind),
      m_file("lib" + name + ".so." + std::to_string(version)),
      m_handle(dlopen(m_file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) {
        ThrowUnusable(kind, m_file);
    }
}

void* SystemLibrary::Find(const char* functionName) const {
    void* const function = dlsym(m_handle, functionName);
    if (function == nullptr) {
        ThrowUnusable(m_kind, m_file);
    }
    return function;
}

}  // namespace Raster
