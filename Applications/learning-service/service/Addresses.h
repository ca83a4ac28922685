// Where clients look for the service.

#pragma once

#include <string>
#include <vector>

namespace Service {

/// The paths of the service, which are those of the addresses that are compiled into clients.
const char* GetCataloguePath() noexcept;
/// Ends with "/"; the name of an operation follows it.
const char* GetOperationsPath() noexcept;

/// The hosts of those addresses.
std::vector<std::string> GetCompiledInHosts();

}  // namespace Service
