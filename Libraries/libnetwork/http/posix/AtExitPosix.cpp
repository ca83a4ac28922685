#include "http/AtExit.h"

#include <cstdlib>

namespace Network::Http {

void CallAtExit(void (*end)()) {
    std::atexit(end);
}

}  // namespace Network::Http
