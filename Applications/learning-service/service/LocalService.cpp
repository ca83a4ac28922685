#include "service/LocalService.h"

#include "catalogue/CatalogueOperation.h"
#include "envelope/EnvelopeOperation.h"
#include "help/HelpOperation.h"
#include "images/ImageEdit.h"
#include "images/ObjectReplacement.h"
#include "images/PollGeneration.h"
#include "images/RemoveBackground.h"
#include "images/ResultFiles.h"
#include "images/TextToImage.h"
#include "packages/PackageOperation.h"
#include "records/RecordOperations.h"
#include "service/Addresses.h"

#include <stdexcept>

namespace Service {

namespace {

Server::ScriptedServer::Options ToOptions(const Limits& limits) {
    const auto round = [](Limits::Seconds time) {
        return std::chrono::ceil<std::chrono::milliseconds>(time);
    };
    Server::ScriptedServer::Options options;
    options.maxConnections = static_cast<std::size_t>(limits.connections);
    options.idle = round(limits.stall);
    options.requestTime = round(limits.request);
    options.keepTime = round(limits.keepAlive);
    options.maxRequests = limits.keepAlive.count() > 0 ? limits.requests : 1;
    return options;
}

ShelfLimits ToShelfLimits(const Limits& limits) {
    ShelfLimits shelf;
    shelf.count = static_cast<std::size_t>(limits.jobs);
    shelf.size = static_cast<std::size_t>(limits.storage) << 20;
    shelf.age = std::chrono::ceil<std::chrono::milliseconds>(limits.results);
    return shelf;
}

}  // namespace

LocalService::LocalService(const Settings& settings, RequestLog& log,
                           std::function<void()> onRequest)
    : m_log(log),
      m_onRequest(std::move(onRequest)),
      m_credentials(settings.credentials.empty() ? Credentials()
                                                 : Credentials(settings.credentials)),
      m_records(settings.records),
      m_models(settings.catalogue),
      m_studio{settings.pending,
               settings.side,
               GetOperationsPath(),
               [&log](const std::string& line) { log.WriteEvent(line); },
               Shelf<Job>(ToShelfLimits(settings.limits)),
               Shelf<Upload>(ToShelfLimits(settings.limits)),
               {},
               Segmenter(settings.models)},
      m_faultFile(settings.faultFile) {
    for (const std::string& fault : settings.faults) {
        m_faults.Add(fault);
    }
    GetFaults();  // so that a mistake in the file shows at once
    MountOperations(settings);
    if (settings.httpsPort) {
        const Server::CertificateAuthority authority;
        authority.WriteCertificate(settings.certificate);
        m_https =
            Serve(settings, *settings.httpsPort, authority.Issue(settings.flaw, settings.hosts));
    }
    m_http = Serve(settings, settings.port, {});
}

LocalService::~LocalService() {
    m_studio.bench.Close();  // nobody waits for pictures any more
}

void LocalService::MountOperations(const Settings& settings) {
    std::vector<OtherPath> paths;
    const Mount mount = [&](std::string path, std::unique_ptr<Operation> operation,
                            const char* purpose) {
        m_router.Mount(path, std::move(operation));
        paths.push_back({std::move(path), purpose});
    };
    const std::string folder = GetOperationsPath();
    mount(GetCataloguePath(), std::make_unique<CatalogueOperation>(settings.catalogue),
          "the catalogue of models");
    mount(folder + "textToHelp", std::make_unique<HelpOperation>(m_credentials, m_conversations),
          "answers a question (POST, as all below)");
    mount(folder + "textToMCPHints",
          std::make_unique<HintsOperation>(m_credentials, m_conversations, m_records),
          "answers with hints");
    mount(folder + "recordMCPHint", std::make_unique<RecordHintOperation>(m_credentials, m_records),
          "takes a hint");
    mount(folder + "reportMCPIssue",
          std::make_unique<ReportIssueOperation>(m_credentials, m_records), "takes an issue");
    MountPictures(mount);
    if (folder != "/") {
        m_router.Mount(folder, std::make_unique<MissingOperation>());
    }
    m_router.Mount("/", std::make_unique<PackageOperation>(settings.packages, std::move(paths)));
}

void LocalService::MountPictures(const Mount& mount) {
    const std::string& folder = m_studio.folder;
    mount(folder + "textToImageAsync",
          std::make_unique<TextToImageOperation>(m_credentials, m_models, m_studio),
          "takes an order for pictures from words");
    mount(folder + "imageEdit",
          std::make_unique<ImageEditOperation>(m_credentials, m_models, m_studio),
          "takes a picture to change");
    mount(folder + "imageObjectReplacementAsync",
          std::make_unique<ObjectReplacementOperation>(m_credentials, m_studio),
          "takes a picture in which to replace a thing");
    mount(folder + "pollGeneration",
          std::make_unique<PollGenerationOperation>(m_credentials, m_studio),
          "tells where the pictures of those three are");
    mount(folder + "removeBackgroundInit",
          std::make_unique<RemoveBackgroundInitOperation>(m_credentials, m_studio),
          "gives an address for a picture to cut out");
    mount(folder + "removeBackgroundComplete",
          std::make_unique<RemoveBackgroundCompleteOperation>(m_credentials, m_studio),
          "cuts it out");
    mount(folder + UploadFolder, std::make_unique<UploadOperation>(m_studio), "takes it (PUT)");
    mount(folder + ResultFolder, std::make_unique<ResultOperation>(m_studio),
          "has the results (GET)");
}

std::unique_ptr<Server::ScriptedServer> LocalService::Serve(
    const Settings& settings, int port, std::optional<Server::Identity> identity) {
    Server::ScriptedServer::Options options = ToOptions(settings.limits);
    if (settings.isForOneRequest) {
        options.maxRequests = 1;
    }
    options.loopback = settings.loopback;
    options.port = port;
    options.identity = std::move(identity);
    options.greeting = [this](int) { return Greet(); };
    options.observer = [this](const Server::Exchange& exchange) { Observe(exchange); };
    options.bodyLimit = [this](const Server::Request& head) { return m_router.GetBodyLimit(head); };
    options.maxBodiesSize = std::size_t{128} << 20;
    options.maxRecorded = 0;
    return std::make_unique<Server::ScriptedServer>(
        std::move(options), [this](const Server::Request& request) { return Answer(request); });
}

Server::Script LocalService::Answer(const Server::Request& request) const {
    Service::Answer answer = MakeAnswer(request, m_router.Route(request));
    GetFaults().Apply(answer);
    return MakeScript(answer);
}

std::optional<Server::Script> LocalService::Greet() const {
    try {
        return GetFaults().GetGreeting();
    } catch (const std::runtime_error&) {  // a mistake in the file: Answer() will say so
        return {};
    }
}

void LocalService::Observe(const Server::Exchange& exchange) {
    m_log.Write(exchange);
    if (!exchange.request.method.empty()) {
        m_onRequest();
    }
}

Faults LocalService::GetFaults() const {
    Faults faults = m_faults;
    if (!m_faultFile.empty()) {
        faults.AddFile(m_faultFile);
    }
    return faults;
}

}  // namespace Service
