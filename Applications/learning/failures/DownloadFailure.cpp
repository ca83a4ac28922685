#include "failures/DownloadFailure.h"

#include <algorithm>
#include <iterator>

namespace LearningApp {

namespace {

constexpr const char* TryAgain = "Try again; if it stays so, see what the server says.";
constexpr const char* CheckServer =
    "Check the address given with --server, and that the server is up. A server for this machine: "
    "learning-service --packages FOLDER";
constexpr const char* CheckPackages =
    "Check that --server names the server and the folder of the packages, and that the packages "
    "listed by `learning models` are there.";
constexpr const char* CheckPort =
    "Check the address given with --server: whether it is http or https, and the port.";
constexpr const char* Authorise =
    "If the server is one of your own, name its authority's certificate: --certificate FILE.pem";
constexpr const char* FixCertificate =
    "Let --certificate name a PEM file; learning-service writes one with its own --certificate.";
constexpr const char* MakeRoom =
    "Make room on the disks of the networks and of temporary files, or name others: --models DIR, "
    "and TMPDIR in the environment.";
constexpr const char* AllowWriting =
    "Let your user write to the folder of the networks and to that of temporary files, or name "
    "others: --models DIR, and TMPDIR in the environment.";
constexpr const char* FixPackage =
    "The package on the server is at fault: it has to be a ZIP archive that holds the ONNX file at "
    "its top level.";

}  // namespace

// The first one whose sign is found counts: an early failure, such as a full disk, causes later
// ones.
const DownloadFailure::Cause DownloadFailure::Causes[] = {
    {"No space left on device", "the disk is full", MakeRoom},
    {"Disk quota exceeded", "the disk is full for this user", MakeRoom},
    {"free space of the disk", "the disk has no room for it", MakeRoom},
    {"folder for temporary files", "there is no folder for temporary files", AllowWriting},
    {"Permission denied", "a file may not be written", AllowWriting},
    {"Read-only file system", "a file may not be written", AllowWriting},

    {"is no address of the web", "the address of the server is not well-formed", CheckServer},
    {"Could not resolve", "the server is not known", CheckServer},
    {"Failed to connect", "the server can't be reached", CheckServer},
    {"timed out", "the server does not answer", CheckServer},
    {"Connection timeout", "the server does not answer", CheckServer},
    {"neither sends nor takes", "the server has fallen silent", TryAgain},

    {"with status 404", "the server does not have this package", CheckPackages},
    {"with status 4", "the server refuses", CheckPackages},
    {"with status 5", "the server has failed", TryAgain},
    {"with status", "the server sends something else", CheckPackages},
    {"redirects", "the server sends us elsewhere, and there is nothing", CheckPackages},

    {"certificate subject name", "the server's certificate is made out to another name",
     "Use the name that is in the certificate as that of the server, for example localhost."},
    {"certificate has expired", "the server's certificate has expired",
     "The server needs a new certificate."},
    {"SSL certificate problem", "the server's certificate is not trusted", Authorise},
    {"the certificate authorities in", "the trusted certificate can't be used", FixCertificate},
    {"HTTP/0.9", "what answers is no web server", CheckPort},
    {"wrong version number", "what answers does not speak https", CheckPort},
    {"SSL", "there is no safe connection to the server", CheckPort},
    {"[Network]", "the download broke off", TryAgain},

    {"libonnxruntime", "the inference runtime can't be used",
     "Run tools/setup.sh, and build again."},
    {"can't be installed", "what the server sent is no model package", FixPackage},
    {"skipped", "the package is damaged", FixPackage},
    {"exist", "the package does not hold it", FixPackage},
    {"[ONNX Runtime]", "the network in the package can't be loaded", FixPackage},
    {"", "it can't be installed", TryAgain},
};

DownloadFailure::DownloadFailure(std::string_view name, std::string_view reason)
    : DownloadFailure(name, reason, FindCause(reason)) {}

DownloadFailure::DownloadFailure(std::string_view name, std::string_view reason, const Cause& cause)
    : Failure("cannot download %1: %2 (%3)", name, cause.what, reason), m_cause(cause) {}

const DownloadFailure::Cause& DownloadFailure::FindCause(std::string_view reason) {
    return *std::ranges::find_if(Causes, [reason](const Cause& cause) {
        return reason.find(cause.sign) != std::string_view::npos;
    });
}

}  // namespace LearningApp
