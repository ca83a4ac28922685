#include "support/LeakCheck.h"

#include <windows.h>
#include <tlhelp32.h>

namespace Support {

// Threads alone: handles are also those that the system and the compiler's library keep for
// themselves, and that come and go with locks.
std::ptrdiff_t CountOpenThings() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 thread{};
    thread.dwSize = sizeof thread;
    std::ptrdiff_t count = 0;
    for (BOOL isThere = Thread32First(snapshot, &thread); isThere != 0;
         isThere = Thread32Next(snapshot, &thread)) {
        count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(snapshot);
    return count;
}

}  // namespace Support
