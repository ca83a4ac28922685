// Classes of the Windows Runtime.

#pragma once

#include "inference/windows/ComObjects.h"

namespace Learning {

/// The interface `interfaceId` of the activation factory of class `name`: that which the system
/// knows, or else that of the DLL that is named after a namespace of the class, the innermost
/// first, which then stays loaded. Throws PlatformError with the system's result if there is none.
///
/// Where nobody has initialised the component model, it is, for the life of the process.
ComOwner<ComObject> GetActivationFactory(const wchar_t* name, const GUID& interfaceId);

}  // namespace Learning
