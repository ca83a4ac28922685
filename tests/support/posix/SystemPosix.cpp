#include "support/System.h"

namespace Support {

const bool HasWindowsTls = false;
const char* const EncryptedHost = "127.0.0.1";
const bool HasLinks = true;

}  // namespace Support
