#include "settings/TransferSettings.h"

#include "Kernel/Format.h"
#include "Kernel/NeverDestroyed.h"
#include "Network/Routes.h"
#include "Network/Settings.h"

#include <algorithm>
#include <mutex>

namespace Network {

namespace {

struct SharedSettings {
    std::mutex mutex;
    TransferSettings settings;
};

SharedSettings& GetShared() {
    static Kernel::NeverDestroyed<SharedSettings> shared;  // requests may start during exit
    return *shared;
}

/// Calls `change` with the settings, under the lock.
template <class Change>
auto WithSettings(Change change) {
    SharedSettings& shared = GetShared();
    const std::lock_guard lock(shared.mutex);
    return change(shared.settings);
}

}  // namespace

TransferSettings GetTransferSettings() {
    return WithSettings([](const TransferSettings& settings) { return settings; });
}

void SetCertificateAuthorities(const Kernel::String& path) {
    WithSettings([&](TransferSettings& settings) { settings.certificateAuthorities = path; });
}

void SetProxy(const std::optional<Kernel::String>& proxy) {
    WithSettings([&](TransferSettings& settings) { settings.proxy = proxy; });
}

ScopedRoute::ScopedRoute(const Kernel::String& host, const Kernel::String& targetHost,
                         std::uint16_t targetPort)
    : m_route(Kernel::Format("%1::%2:%3", host, targetHost, targetPort)) {
    WithSettings([this](TransferSettings& settings) {
        settings.routes.insert(settings.routes.begin(), m_route);
    });
}

ScopedRoute::~ScopedRoute() {
    WithSettings([this](TransferSettings& settings) {
        const auto mine = std::ranges::find(settings.routes, m_route);
        if (mine != settings.routes.end()) {
            settings.routes.erase(mine);
        }
    });
}

}  // namespace Network
