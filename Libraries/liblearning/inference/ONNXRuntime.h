// The inference runtime's C++ API over a library that is loaded when it is first needed. The only
// header through which the runtime's own headers are included.

#pragma once

#include "Kernel/String.h"

#include <onnxruntime_cxx_api.h>

#include <string>

namespace Learning {

/// Loads the runtime, once for the process, and makes the classes in namespace Ort usable; to be
/// called before an object of any of them but Ort::Exception is made: even an empty one calls the
/// runtime when it dies. Throws Ort::Exception, with the path of the file that was looked for, if
/// there is no runtime or it can't be used; the next call then tries again.
void EnsureONNXRuntime();

/// Whether EnsureONNXRuntime() returns.
bool IsONNXRuntimeUsable() noexcept;

/// `text` as the runtime takes texts, for as long as it lives. Throws Ort::Exception if it has a
/// zero byte: the runtime would take what comes before it for the text.
const char* ToRuntimeText(const Kernel::String& text);

/// A path as the runtime takes it. Throws Ort::Exception for one that no file has.
std::basic_string<ORTCHAR_T> ToRuntimePath(const Kernel::String& path);

/// The folder of the module (shared library or program) that holds this code, with a separator at
/// its end. The runtime lies there, and is never sought anywhere else: a library of its name in
/// another folder may be untrusted. Throws Ort::Exception if it is unknown.
Kernel::String GetModuleFolder();

// What differs between systems, one source file each.

/// The file of the runtime in GetModuleFolder().
Kernel::String GetRuntimePath();

/// A library that is open for as long as this object lives, or the process. A file that takes the
/// place of one which is still open would not be opened.
class RuntimeLibrary {
public:
    /// Throws Ort::Exception if there is no library at `path`.
    explicit RuntimeLibrary(const Kernel::String& path);
    RuntimeLibrary(const RuntimeLibrary&) = delete;
    RuntimeLibrary& operator=(const RuntimeLibrary&) = delete;
    ~RuntimeLibrary();

    /// What its function OrtGetApiBase() answers; null also if it has none.
    const OrtApiBase* GetApiBase() const;
    void KeepOpen() noexcept { m_isKept = true; }

private:
    void* m_handle;
    bool m_isKept = false;
};
}  // namespace Learning
