#include "CommandLine.h"

#include "Kernel/Semaphore.h"
#include "Kernel/Utf.h"

#include "service/LocalService.h"

#include <CLI/CLI.hpp>

#include <map>
#include <ostream>

namespace Service {

namespace {

std::string FormatAddress(const char* start, int port) {
    return start + std::to_string(port) + "/";
}

/// What is wrong with `text` as a fault; empty if nothing is.
std::string CheckFault(const std::string& text) {
    try {
        Faults().Add(text);
        return {};
    } catch (const std::runtime_error& wrong) {
        return wrong.what();
    }
}

void AddServerOptions(CLI::App& app, Settings& settings) {
    app.add_option("--packages", settings.packages, "Folder of the model packages")
        ->required()
        ->type_name("DIR");
    app.add_option("--port", settings.port, "Port for http; 0 for any that is free. Default: 8080")
        ->check(CLI::Range(0, 65535))
        ->type_name("N");
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

void AddOptions(CLI::App& app, Settings& settings) {
    AddServerOptions(app, settings);
    app.add_option("--fault", settings.faults, "Do this wrong (see below); may be repeated")
        ->check(CheckFault)
        ->allow_extra_args(false)
        ->type_name("NAME[=VALUE]");
    app.add_option("--fault-file", settings.faultFile,
                   "File of further faults, a line each, read anew for each request")
        ->type_name("FILE");
    app.add_flag("--once", settings.isForOneRequest, "End after one request");
    app.set_version_flag("--version", "learning-service " ORVANTIS_VERSION);
    app.footer(
        "Faults, in the order in which they are applied:\n" + GetFaultHelp() +
        "Example: learning-service --packages packages --fault drip=100000 --fault corrupt=5000");
}

std::string FormatWelcome(const LocalService& service, const Settings& settings) {
    const std::string http = FormatAddress("http://127.0.0.1:", service.GetPort());
    const std::string https = FormatAddress("https://localhost:", service.GetHttpsPort());
    const std::string fetch = "\n  learning --server ";
    std::string text = "Serving the packages in " + settings.packages + " at " + http;
    if (settings.httpsPort) {
        text += " and " + https;
    }
    text += "\nTo fetch them:" + fetch + http + " download all";
    if (settings.httpsPort) {
        text += fetch + https + " --certificate " + settings.certificate + " download all";
    }
    return text;
}

int Run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
        Kernel::Semaphore& end) {
    Settings settings;
    CLI::App app("Serve model packages on this machine, well or badly.", "learning-service");
    AddOptions(app, settings);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success& request) {  // a request for help or the version
        return app.exit(request, out, err);
    } catch (const CLI::ParseError& error) {
        err << "learning-service: " << Kernel::MakePrintableLines(error.what()).c_str()
            << "\nRun learning-service --help.\n";
        return 2;
    }
    LocalService service(settings, out, [&] {
        if (settings.isForOneRequest) {
            end.Signal();
        }
    });
    service.Announce(FormatWelcome(service, settings));
    end.Wait();
    return 0;
}

}  // namespace

int RunService(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
               Kernel::Semaphore& end) {
    try {
        return Run(arguments, out, err, end);
    } catch (const std::exception& exception) {
        err << "learning-service: " << Kernel::MakePrintableLines(exception.what()).c_str() << '\n';
        return 1;
    }
}

}  // namespace Service
