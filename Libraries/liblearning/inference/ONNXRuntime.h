// The inference runtime's C++ API over a library that is loaded when it is first needed. The only
// header through which the runtime's own headers are included.

#pragma once

#include "Kernel/String.h"

#include <onnxruntime_cxx_api.h>

#include <string>

namespace Learning {

/// Loads the runtime, once for the process, and makes the classes in namespace Ort usable; to be
/// called before any of them is. Throws Ort::Exception, with the name of the file that was looked
/// for, if there is no runtime or it is too old; the next call then tries again.
void EnsureONNXRuntime();

// What differs between systems, one source file each.

/// The folder of the module (shared library or program) that holds this code, with a separator at
/// its end. The runtime lies there, and is never sought anywhere else: a library of its name in
/// another folder may be untrusted.
Kernel::String GetModuleFolder();

/// Loads the runtime from GetModuleFolder() for the rest of the process's life.
const OrtApiBase& LoadONNXRuntime();

/// A path as the runtime takes it.
std::basic_string<ORTCHAR_T> ToRuntimePath(const Kernel::String& path);

}  // namespace Learning
