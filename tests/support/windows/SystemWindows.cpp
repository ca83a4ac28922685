#include "support/System.h"

namespace Support {

const bool HasWindowsTls = true;
const char* const EncryptedHost = "localhost";
const bool HasLinks = false;  // Windows asks for a right that few users have

}  // namespace Support
