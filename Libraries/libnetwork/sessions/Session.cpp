#include "Network/Session.h"

#include "sessions/ConnectionPool.h"

namespace Network {

Session::Session() : m_pool(std::make_unique<ConnectionPool>()) {}
Session::~Session() = default;

}  // namespace Network
