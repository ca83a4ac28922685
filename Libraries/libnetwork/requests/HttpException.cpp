#include "Network/HttpException.h"

namespace Network::Http {

Exception::~Exception() = default;

}  // namespace Network::Http
