#pragma once

#include <cerrno>
#include <string>
#include <system_error>

namespace Server {

/** Reports what `errno` tells of the system call that has just failed. */
[[noreturn]] inline void ThrowSystemError(const std::string& action) {
    throw std::system_error(errno, std::generic_category(), action);
}

}  // namespace Server
