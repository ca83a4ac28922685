// Libraries of the system that are opened when a file asks for them, and never linked: most
// processes read no such file.

#pragma once

#include <string>

namespace Raster {

/// A library that is open until the process ends. What can't be opened may be there the next time.
class SystemLibrary {
public:
    /// Opens the library `name`, such as "tiff", whose interface has the number `version`, to read
    /// pictures of `kind` ("TIFF"). Throws CodecException, which tells the file and the kind, if it
    /// is missing or can't be used. On Windows it lies beside ours: there is none of the system.
    SystemLibrary(const char* kind, const std::string& name, int version);

    /// Sets `function` to that of the library. Throws as above.
    template <class Function>
    void Find(const char* functionName, Function*& function) const {
        function = reinterpret_cast<Function*>(Find(functionName));
    }

private:
    void* Find(const char* functionName) const;

    const char* m_kind;
    std::string m_file;
    void* m_handle;
};

}  // namespace Raster
