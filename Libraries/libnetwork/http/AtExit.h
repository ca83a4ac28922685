// What is left to do when the process exits.

#pragma once

namespace Network::Http {

/// Calls `end` when the process exits or this library is unloaded, unless it would have to do
/// without the other threads then. That is so in a library on Windows, which ends them first,
/// wherever they are: what they hold is never released.
void CallAtExit(void (*end)());

}  // namespace Network::Http
