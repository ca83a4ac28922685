// Libraries of the system that are opened when a file asks for them, and never linked: most
// processes read no such file.

#pragma once

namespace Raster {

/// A library that is open until the process ends. What can't be opened may be there the next time.
class SystemLibrary {
public:
    /// Opens `name`, such as "libtiff.so.6", to read pictures of `kind` ("TIFF"). Throws
    /// CodecException, which tells both, if it is missing or can't be used.
    SystemLibrary(const char* kind, const char* name);

    /// Sets `function` to that of the library. Throws as above.
    template <class Function>
    void Find(const char* functionName, Function*& function) const {
        function = reinterpret_cast<Function*>(Find(functionName));
    }

private:
    void* Find(const char* functionName) const;

    const char* m_kind;
    const char* m_name;
    void* m_handle;
};

}  // namespace Raster
