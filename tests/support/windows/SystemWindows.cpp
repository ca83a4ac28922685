#include "support/System.h"

namespace Support {

const bool HasWindowsTls = true;
const char* const EncryptedHost = "localhost";

}  // namespace Support
