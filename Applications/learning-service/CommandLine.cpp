#include "CommandLine.h"

#include "Kernel/Utf.h"

#include "packages/PackageFolder.h"
#include "service/Addresses.h"
#include "service/LineStream.h"
#include "service/LocalService.h"
#include "service/OpenFiles.h"
#include "service/Wishes.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <ostream>
#include <system_error>

namespace Service {

namespace {

/// What is wrong with `text` as a fault; empty if nothing is.
std::string CheckFault(const std::string& text) {
    try {
        Faults().Add(text);
        return {};
    } catch (const std::runtime_error& wrong) {
        return wrong.what();
    }
}

/// "a, b" for two texts.
std::string List(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : ", ") + text;
    }
    return list;
}

void AddServerOptions(CLI::App& app, Settings& settings) {
    app.add_option("--packages", settings.packages, "Folder of the model packages")
        ->required()
        ->type_name("DIR");
    using Server::Loopback;
    const std::map<std::string, Loopback> addresses{
        {"127.0.0.1", Loopback::IPv4}, {"::1", Loopback::IPv6}, {"localhost", Loopback::Both}};
    app.add_option_function<std::string>(
           "--listen",
           [&settings, addresses](const std::string& name) {
               settings.loopback = addresses.at(name);
           },
           "127.0.0.1, ::1, or localhost for the two, if there is IPv6. Default: localhost")
        ->check(CLI::IsMember(addresses))
        ->type_name("ADDRESS");
    app.add_option("--port", settings.port, "Port for http; 0 for any that is free. Default: 8080")
        ->check(CLI::Range(0, 65535))
        ->type_name("N");
}

void AddInferenceOptions(CLI::App& app, Settings& settings) {
    app.add_option("--catalogue", settings.catalogue,
                   "File to serve as the catalogue of models, read anew for each request; else the "
                   "one that is compiled into clients, too")
        ->type_name("FILE");
    app.add_option("--credentials", settings.credentials,
                   "File of KEY=VALUE lines, which only its owner may read: members that requests "
                   "for operations have to have, such as mirel_access_token or custom_bearer")
        ->type_name("FILE");
    app.add_option("--records", settings.records,
                   "File to append hints and issues to, a line of JSON each, which only its owner "
                   "may read; else hints are kept in memory, and issues not at all")
        ->type_name("FILE");
}

void AddPictureOptions(CLI::App& app, Settings& settings) {
    constexpr int MaxPending = 3'600'000;
    app.add_option_function<int>(
           "--pending",
           [&settings](int count) { settings.pending = std::chrono::milliseconds(count); },
           "How long pictures are said not to be done yet, in milliseconds; 0 for not at all. The "
           "default lets `learning generate` poll twice, since it waits 15 seconds first. "
           "Default: " +
               std::to_string(settings.pending.count()))
        ->check(CLI::Range(0, MaxPending))
        ->type_name("MS");
    app.add_option("--models", settings.models,
                   "Folder of the networks, as `learning` installs them: backgrounds are found by "
                   "the segmentation networks once they are there, else by their colours")
        ->type_name("DIR");
    app.add_option("--picture-side", settings.side,
                   "Side of square pictures that are made from words, in pixels; others have as "
                   "many. Default: " +
                       std::to_string(settings.side))
        ->check(CLI::Range(16, 2048))
        ->type_name("N");
}

void AddTlsOptions(CLI::App& app, Settings& settings) {
    CLI::Option* const https =
        app.add_option("--https-port", settings.httpsPort, "Port for https; none without this")
            ->check(CLI::Range(0, 65535))
            ->type_name("N");
    CLI::Option* const certificate =
        app.add_option("--certificate", settings.certificate,
                       "Where to write the certificate that clients have to trust for https")
            ->type_name("FILE")
            ->needs(https);
    https->needs(certificate);
    app.add_option("--host", settings.hosts,
                   "Host by which clients know the service, for its certificate besides localhost; "
                   "may be repeated. Default: " +
                       (settings.hosts.empty() ? "none" : List(settings.hosts)))
        ->allow_extra_args(false)
        ->type_name("NAME")
        ->needs(https);
    using Flaw = Server::CertificateAuthority::Flaw;
    const std::map<std::string, Flaw> flaws{{"wrong-name", Flaw::WrongName},
                                            {"expired", Flaw::Expired},
                                            {"self-signed", Flaw::SelfSigned}};
    app.add_option_function<std::string>(
           "--flaw",
           [&settings, flaws](const std::string& name) { settings.flaw = flaws.at(name); },
           "What is wrong with https: wrong-name, expired or self-signed")
        ->check(CLI::IsMember(flaws))
        ->type_name("KIND")
        ->needs(https);
}

void AddSeconds(CLI::App& app, const char* name, Limits::Seconds& seconds, double least,
                const char* help) {
    constexpr double Day = 86'400;
    app.add_option_function<double>(
           name,
           [&seconds, name](double count) {
               if (std::isnan(count)) {  // which lies in every range
                   throw CLI::ValidationError(name, "this is not a number");
               }
               seconds = Limits::Seconds(count);
           },
           help + (". Default: " + std::to_string(std::lround(seconds.count()))))
        ->check(CLI::Range(least, Day))
        ->type_name("SECONDS")
        ->group("Limits");
}

void AddCount(CLI::App& app, const char* name, int& count, const char* help) {
    constexpr int Max = 30'000;
    app.add_option(name, count, help + (". Default: " + std::to_string(count)))
        ->check(CLI::Range(1, Max))
        ->type_name("N")
        ->group("Limits");
}

void AddLimits(CLI::App& app, Limits& limits) {
    constexpr double Least = 0.001;
    AddCount(app, "--max-connections", limits.connections,
             "Clients at a time on a port; others wait");
    AddSeconds(app, "--request-timeout", limits.request, Least,
               "What a client may take for a whole request");
    AddSeconds(app, "--stall-timeout", limits.stall, Least,
               "How long a client may take nothing of an answer");
    AddSeconds(app, "--keep-alive", limits.keepAlive, 0,
               "How long a connection is kept for another request; 0 for not at all");
    AddCount(app, "--max-requests", limits.requests, "Requests on one connection");
    AddSeconds(app, "--keep-results", limits.results, Least,
               "How long the results of orders for pictures can be fetched");
    AddCount(app, "--max-jobs", limits.jobs,
             "Orders that are kept, and as many uploads; older ones go first, and within two "
             "minutes none");
    AddCount(app, "--max-storage", limits.storage, "MiB for what orders keep, and for uploads");
}

void AddOptions(CLI::App& app, Settings& settings) {
    AddServerOptions(app, settings);
    AddTlsOptions(app, settings);
    AddInferenceOptions(app, settings);
    AddPictureOptions(app, settings);
    AddLimits(app, settings.limits);
    app.add_option("--fault", settings.faults, "Do this wrong (see below); may be repeated")
        ->check(CheckFault)
        ->allow_extra_args(false)
        ->type_name("[/PATH:]NAME[=VALUE]");
    app.add_option("--fault-file", settings.faultFile,
                   "File of further faults, a line each, read anew for each request")
        ->type_name("FILE");
    app.add_option("--log-file", settings.logFile,
                   "File to append the log to, which SIGHUP reopens; else the log goes to standard "
                   "output")
        ->type_name("FILE");
    app.add_flag("--once", settings.isForOneRequest, "End after one request");
    app.set_version_flag("--version", "learning-service " ORVANTIS_VERSION);
    app.footer(
        "Faults, in the order in which they are applied:\n" + GetFaultHelp() +
        "A fault after /PATH: is for requests of that path alone, after /PATH*: of all that begin "
        "so.\n"
        "Examples: learning-service --packages packages --fault drip=100000 --fault corrupt=5000\n"
        "          learning-service --packages packages --fault /v1/textToHelp:status=503\n"
        "          learning-service --packages packages --fault error=CREDITS_COOLDOWN:90\n"
        "          learning-service --packages packages --fault '/v1/results/*:truncate=9000'");
}

/// What is served besides packages, and what a client needs for it.
std::string FormatOperations(const std::string& httpsAddress, const Settings& settings) {
    std::string text = "\nThe catalogue of models is at " + std::string(GetCataloguePath()) +
                       ", the operations are below " + GetOperationsPath() + ".";
    if (!settings.credentials.empty()) {
        text += "\nOperations need the credentials in " + settings.credentials + ".";
    }
    text += settings.records.empty()
                ? "\nHints are forgotten at the end, and issues at once: there is no --records."
                : "\nHints and issues are kept in " + settings.records + ".";
    if (!httpsAddress.empty() && !settings.hosts.empty()) {
        text += "\nThe certificate is also for " + List(settings.hosts) +
                ": lead clients of these hosts to " + httpsAddress + ", and let them trust " +
                settings.certificate + ".";
    }
    return text;
}

std::string FormatWelcome(const LocalService& service, const Settings& settings) {
    const std::vector<std::string> addresses = service.GetAddresses();
    const std::string http = "http://" + addresses.front() + "/";
    const std::string httpsAddress = service.GetHttpsAddress();
    const std::string https = "https://localhost:" + std::to_string(service.GetHttpsPort()) + "/";
    const std::string fetch = "\n  learning --server ";
    std::string text = "Serving the packages in " + settings.packages + " at " + http;
    if (addresses.size() > 1) {
        text += " and http://" + addresses[1] + "/";
    }
    if (settings.httpsPort) {
        text += " and " + https;
    }
    text += "\nTo fetch them:" + fetch + http + " download all";
    if (settings.httpsPort) {
        text += fetch + https + " --certificate " + settings.certificate + " download all";
    }
    return text + FormatOperations(httpsAddress, settings);
}

void Complain(std::ostream& err, std::string_view text) {
    err << "learning-service: " << Kernel::MakePrintableLines(text).c_str() << std::endl;
}

/// Complains about settings that work, but hardly as they are meant.
void Warn(const Settings& settings, std::ostream& err) {
    const auto isPackage = [](const auto& entry) { return entry.name.ends_with(".zip"); };
    if (std::ranges::none_of(PackageFolder(settings.packages).List(), isPackage)) {
        Complain(err, "warning: there are no packages (*.zip) in " + settings.packages);
    }
    const std::size_t servers = settings.httpsPort ? 2 : 1;
    const std::size_t files = servers * static_cast<std::size_t>(settings.limits.connections) * 2;
    constexpr std::size_t Others = 64;
    if (!AllowOpenFiles(files + Others)) {
        Complain(err, "warning: the system allows fewer open files than --max-connections needs, " +
                          std::to_string(files + Others) + "; see ulimit -n");
    }
}

void ReopenLog(LineStream& file, RequestLog& log, std::ostream& err) {
    try {
        log.Pause([&] { file.Reopen(); });
        log.WriteEvent("the log is reopened");
    } catch (const std::system_error& error) {
        Complain(err, error.what());
        log.WriteEvent(error.what());
    }
}

/// Does what is wished until that is the end. `file`: of the log, or null.
void ObeyUntilEnd(Wishes& wishes, LineStream* file, RequestLog& log, std::ostream& err) {
    for (;;) {
        const Wish wish = wishes.Wait();
        if (wish == Wish::End || (wish == Wish::HangUp && file == nullptr)) {
            return;
        }
        if (file != nullptr) {
            ReopenLog(*file, log, err);
        }
    }
}

void Serve(const Settings& settings, std::ostream& out, std::ostream& err, Wishes& wishes) {
    Warn(settings, err);
    std::optional<LineStream> file;
    if (!settings.logFile.empty()) {
        file.emplace(settings.logFile);
    }
    RequestLog log(file ? *file : out, err);
    {
        const LocalService service(settings, log, [&] {
            if (settings.isForOneRequest) {
                wishes.Send(Wish::End);
            }
        });
        const std::string welcome = FormatWelcome(service, settings);
        if (file) {
            log.WriteEvent(welcome.substr(0, welcome.find('\n')));
            out << Kernel::MakePrintableLines(welcome).c_str() << std::endl;
        } else {
            log.WriteLine(welcome);
        }
        ObeyUntilEnd(wishes, file ? &*file : nullptr, log, err);
    }
    log.WriteEvent("the end");
}

/// The arguments that mean nothing, in their order.
std::string ListRest(const CLI::App& app) {
    const std::vector<std::string> rest = app.remaining();
    std::string text = rest.size() > 1 ? "unexpected arguments:" : "unexpected argument:";
    for (const std::string& argument : rest) {
        text += ' ' + argument;
    }
    return text;
}

int Run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
        Wishes& wishes) {
    Settings settings;
    CLI::App app(
        "Serve model packages, a catalogue of models, help and pictures on this machine, well or "
        "badly.",
        "learning-service");
    AddOptions(app, settings);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success& request) {  // a request for help or the version
        return app.exit(request, out, err);
    } catch (const CLI::ParseError& error) {
        const bool isUnknown = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
        Complain(err, (isUnknown ? ListRest(app) : error.what()) +
                          std::string("\nRun learning-service --help."));
        return 2;
    }
    Serve(settings, out, err, wishes);
    return 0;
}

}  // namespace

int RunService(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
               Wishes& wishes) {
    try {
        return Run(arguments, out, err, wishes);
    } catch (const std::exception& exception) {
        Complain(err, exception.what());
        return 1;
    }
}

}  // namespace Service
