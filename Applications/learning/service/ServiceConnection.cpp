#include "service/ServiceConnection.h"

#include "Kernel/Environment.h"
#include "Kernel/FileStreams.h"
#include "Network/Settings.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "service/Credentials.h"
#include "terminal/ShellWords.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

namespace LearningApp {

namespace {

constexpr std::string_view Scheme = "https://";

/// Those of the addresses that are compiled in.
std::vector<std::string> GetServiceHosts() {
    std::vector<std::string> hosts;
    for (std::string_view address : {ORVANTIS_CONFIG_URL, ORVANTIS_SERVICE_URL}) {
        address.remove_prefix(Scheme.size());
        hosts.emplace_back(address.substr(0, address.find_first_of("/:")));
    }
    return hosts;
}

struct Place {
    std::string host;
    std::uint16_t port;
};

/// Reads "HOST", "HOST:PORT" or either as the start of an https address.
Place ParsePlace(const std::string& address) {
    std::string_view rest = address;
    if (rest.starts_with("http://")) {
        throw WrongUse("the service is asked over https alone, and %1 is http: name its https port",
                       address);
    }
    if (rest.starts_with(Scheme)) {
        rest.remove_prefix(Scheme.size());
    }
    rest = rest.substr(0, rest.find('/'));
    const std::size_t bracket = rest.find(']');  // of IPv6
    const std::size_t colon = rest.find(':', bracket == std::string_view::npos ? 0 : bracket);
    Place place{std::string(rest.substr(0, colon)), 443};
    bool isGood = !place.host.empty();
    if (colon != std::string_view::npos) {
        const char* const end = rest.data() + rest.size();
        const auto [stop, error] = std::from_chars(rest.data() + colon + 1, end, place.port);
        isGood = isGood && error == std::errc() && stop == end && place.port > 0;
    }
    if (!isGood) {
        throw WrongUse("%1 is no place of a service: write it like 127.0.0.1:8443", address);
    }
    return place;
}

std::string FindAddress(const ServiceOptions& options) {
    if (!options.address.empty()) {
        return options.address;
    }
    const std::optional<Kernel::String> named = Kernel::GetEnv("ORVANTIS_SERVICE");
    return named ? std::string(std::string_view(*named)) : std::string();
}

/// Whether libcurl says so, which has the word from OpenSSL, or from Windows the name of an error
/// such as SEC_E_CERT_EXPIRED, SEC_E_UNTRUSTED_ROOT or SEC_E_WRONG_PRINCIPAL. Nothing but the log
/// tells the cause of a failure.
bool TellsOfDistrust(std::string_view log) {
    constexpr std::array Signs{"certificate", "CERT_", "UNTRUSTED", "WRONG_PRINCIPAL"};
    return std::ranges::any_of(
        Signs, [log](const char* sign) { return log.find(sign) != std::string_view::npos; });
}

std::string RepeatOptions(const ServiceOptions& options) {
    const std::pair<const char*, const std::string> named[] = {
        {"--service", options.address},
        {"--certificate", MakeAbsolute(options.certificate)},
        {"--credentials", MakeAbsolute(options.credentials)}};
    std::string text;
    for (const auto& [name, value] : named) {
        text += value.empty() ? "" : std::string(" ") + name + ' ' + QuoteForShell(value);
    }
    return text;
}

}  // namespace

ServiceConnection::ServiceConnection(ServiceOptions options)
    : m_showsRequests(options.showsRequests), m_repeatedOptions(RepeatOptions(options)) {
    ReadCredentials(options);
    if (const std::string address = FindAddress(options); !address.empty()) {
        const Place place = ParsePlace(address);
        for (const std::string& host : GetServiceHosts()) {
            m_routes.push_back(
                std::make_unique<::Network::ScopedRoute>(host, place.host, place.port));
        }
        m_place = place.host + ':' + std::to_string(place.port);
        ::Network::SetProxy(Kernel::String());  // which would not know of the route
    }
    if (!options.certificate.empty()) {
        Kernel::FileInStream::Open(options.certificate);  // throws if that can't be done
    }
    ::Network::SetCertificateAuthorities(options.certificate);
    Learning::RemoteInference& client = GetClient();
    client.SetMirelAccessTokens(options.apiUrl, options.accessToken, options.userId);
    if (!options.bearer.empty()) {  // else that of the environment stays
        client.SetCustomBearer(options.bearer);
    }
}

ServiceConnection::~ServiceConnection() {
    GetClient().SetMirelAccessTokens({}, {}, {});
    ::Network::SetCertificateAuthorities({});
    ::Network::SetProxy(std::nullopt);
}

Learning::RemoteInference& ServiceConnection::GetClient() const noexcept {
    return Learning::RemoteInference::GetInstance();
}

std::string ServiceConnection::GetCure(std::string_view log) const {
    if (TellsOfDistrust(log)) {
        return "\nThe service's certificate is not trusted. learning-service has an authority of\n"
               "its own: --certificate names the file of it, another one after each start.";
    }
    const bool isNowhere = m_routes.empty() && GetServiceHosts().back().ends_with(".example");
    return isNowhere ? "\nThis program was built without the address of a service. To ask one on "
                       "this machine:\n"
                       "learning-service --https-port 8443 --certificate ca.pem\n"
                       "learning ask --service 127.0.0.1:8443 --certificate ca.pem ..."
                     : "";
}

const char* GetCatalogueAddress() noexcept {
    return ORVANTIS_CONFIG_URL;
}

}  // namespace LearningApp
