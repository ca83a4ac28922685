// The way to the inference service, for one command.

#pragma once

#include "Learning/RemoteInference.h"
#include "Network/Routes.h"

#include "service/ServiceOptions.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace LearningApp {

/// While this object lives, the client of the process has the user's credentials, and reaches the
/// service where the user says that it is.
class ServiceConnection {
public:
    /// Throws Failure, or WrongUse for an address that is none.
    explicit ServiceConnection(ServiceOptions options);
    ServiceConnection(const ServiceConnection&) = delete;
    ServiceConnection& operator=(const ServiceConnection&) = delete;
    ~ServiceConnection();

    Learning::RemoteInference& GetClient() const noexcept;

    /// What to do where the service can't be reached, after a line feed; empty if nothing is known.
    /// `log`: what the library has said of the cause.
    std::string GetCure(std::string_view log) const;

    /// The options by which another command, in any folder, asks the same service in the same name,
    /// each after a blank. Without secrets: those that were named on the command line are not among
    /// them.
    const std::string& GetRepeatedOptions() const noexcept { return m_repeatedOptions; }

    /// "HOST:PORT" where requests go in place of what their addresses say; empty if they don't.
    const std::string& GetPlace() const noexcept { return m_place; }

    /// Whether requests are to be shown instead of sent.
    bool ShowsRequests() const noexcept { return m_showsRequests; }

private:
    const bool m_showsRequests;
    const std::string m_repeatedOptions;
    std::string m_place;
    std::vector<std::unique_ptr<::Network::ScopedRoute>> m_routes;
};

/// Where the list of the service's models is.
const char* GetCatalogueAddress() noexcept;

}  // namespace LearningApp
