#include "Kernel/FileStreams.h"
#include "Network/Settings.h"

#include "commands/Commands.h"
#include "commands/ModelStaging.h"
#include "failures/DownloadFailure.h"
#include "files/Files.h"
#include "networks/ModelNames.h"
#include "terminal/DownloadProgress.h"
#include "terminal/Interruption.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <string_view>

namespace LearningApp {

namespace {

using Learning::ModelCache;

/// Whether `address` has more than `start`, and starts with it in upper or lower case.
bool HasStart(std::string_view address, std::string_view start) {
    return address.size() > start.size() &&
           std::ranges::equal(address.substr(0, start.size()), start,
                              [](unsigned char a, char b) { return std::tolower(a) == b; });
}

/// What addresses of packages start with. Throws WrongUse if it can't be made from `server`.
std::string MakeRoot(const std::string& server) {
    if (server.empty()) {
        throw WrongUse(
            "no server is named, neither with --server nor in $ORVANTIS_SERVER.\n"
            "For example: learning --server http://127.0.0.1:8080/ download all\n"
            "That is the address of learning-service, started like this: "
            "learning-service --packages external/packages");
    }
    if (!HasStart(server, "http://") && !HasStart(server, "https://")) {
        throw WrongUse("%1 is no address of a server: write it like http://127.0.0.1:8080/",
                       server);
    }
    return server.ends_with('/') ? server : server + '/';
}

/// Whether the address is one of this machine's own.
bool IsThisMachine(std::string_view server) {
    std::string_view host = server.substr(server.find("//") + 2);
    host = host.substr(0, host.find('/'));
    host = host.substr(host.find('@') + 1);
    std::string name(host.substr(0, host.find(':')));
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
    const bool isNumber = name.find_first_not_of("0123456789.") == std::string::npos;
    return name == "localhost" || (isNumber && name.starts_with("127.")) ||
           host.starts_with("[::1]");
}

/// The server, the proxy and the certificate authorities of the process, for the time of one
/// command.
class Connection {
public:
    explicit Connection(const Settings& settings) {
        ModelCache::GetInstance().SetModelURLRoot(MakeRoot(settings.server));
        if (!settings.certificate.empty()) {
            Kernel::FileInStream::Open(settings.certificate);  // throws if that can't be done
        }
        ::Network::SetCertificateAuthorities(settings.certificate);
        if (IsThisMachine(settings.server)) {
            ::Network::SetProxy(Kernel::String());  // a proxy would look for it on its own machine
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() {
        ::Network::SetProxy(std::nullopt);
        ::Network::SetCertificateAuthorities({});
        ModelCache::GetInstance().SetModelURLRoot({});
    }
};

std::string GetPath(ModelType type) {
    return std::string(ModelCache::GetInstance().ModelTypeToModelPaths(type).front().c_str());
}

/// Whether the network is installed and can be loaded.
bool IsUsable(const NamedType& model, const Interruption& interruption) {
    ModelCache& cache = ModelCache::GetInstance();
    return cache.IsModelAvailable(model.type) && cache.GetModel(model.type, interruption.GetFlag());
}

/// Downloads one network. Throws DownloadFailure unless it can be loaded; what was there before is
/// then still there.
void Fetch(const Host& host, const NamedType& model, const Interruption& interruption) {
    ModelCache& cache = ModelCache::GetInstance();
    cache.Shutdown();  // so that the new file is loaded, not the model that is in memory
    host.ClearLog();
    const bool wasThere = cache.IsModelAvailable(model.type);
    const ModelStaging staging(host.GetModelFolder());
    {
        DownloadProgress progress = host.StartDownload(model.name);
        // Called on the thread of the transfer, while this one waits.
        const auto update = [&](const auto& state, ModelType) {
            progress.Update(state.received, state.totalToReceive);
        };
        cache.DownloadModel(model.type, update, interruption.GetFlag());
    }
    Learning::ModelOutcome outcome = cache.GetOutcome(model.type);
    if (outcome.status == Learning::ModelStatus::Installed) {
        staging.Commit();
        if (const std::string log = host.GetLog(); !log.empty()) {
            host.Complain(staging.Rename(log));  // something else in the package is wrong
        }
        return;
    }
    interruption.Check();
    if (wasThere) {
        host.Complain(std::string(model.name) + ": the network that is installed was kept");
    }
    outcome.reason = staging.Rename(outcome.reason.c_str());
    throw DownloadFailure(model.name, outcome);
}

}  // namespace

void DownloadModels(const Host& host, const DownloadOptions& options) {
    const std::vector<NamedType> models = ParseModelNames(options.models);
    const Connection connection(host.GetSettings());
    CreateFolder(host.GetModelFolder());
    const Interruption interruption;
    std::set<std::string> cures;
    for (const NamedType& model : models) {
        try {
            if (!options.isForced && IsUsable(model, interruption)) {
                host.Say("%1 is there already: %2", model.name, GetPath(model.type));
            } else {
                Fetch(host, model, interruption);
                host.Say("downloaded %1 to %2", model.name, GetPath(model.type));
            }
        } catch (const DownloadFailure& failure) {  // go on with the next one
            host.Complain(failure.what());
            cures.insert(failure.GetCure());
        }
        interruption.Check();
    }
    if (!cures.empty()) {
        std::string text;
        for (const std::string& cure : cures) {
            text += (text.empty() ? "" : "\n") + cure;
        }
        throw Failure("%1", text);
    }
}

void DeleteModels(const Host& host, const std::vector<std::string>& names) {
    ModelCache& cache = ModelCache::GetInstance();
    for (const NamedType& model : ParseModelNames(names)) {
        const std::string path = GetPath(model.type);
        const bool wasThere = cache.IsModelAvailable(model.type);
        cache.DeleteModel(model.type);
        if (cache.IsModelAvailable(model.type)) {
            throw Failure("cannot delete %1: may your user write to its folder?", path);
        }
        host.Say(wasThere ? "deleted %1" : "%1 is not there: nothing to delete", path);
    }
}

}  // namespace LearningApp
