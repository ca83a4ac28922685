// Names that nobody can guess.

#pragma once

#include <string>

namespace Service {

/// 128 random bits as 32 hexadecimal digits.
std::string MakeToken();

}  // namespace Service
