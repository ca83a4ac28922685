#include "failures/DownloadFailure.h"

#include <algorithm>
#include <iterator>

namespace LearningApp {

namespace {

using Learning::ModelStatus;

constexpr const char* TryAgain = "Try again; if it stays so, see what the server says.";
constexpr const char* TryAgainOrCheckPort =
    "Try again; if it stays so, see what the server says, and whether its address begins with http "
    "or with https.";
constexpr const char* CheckServer =
    "Check the address given with --server, and that the server is up. A server for this machine: "
    "learning-service --packages FOLDER";
constexpr const char* CheckPackages =
    "Check that --server names the server and the folder of the packages, and that the packages "
    "listed by `learning models` are there.";
constexpr const char* CheckAddress =
    "Check the address given with --server: whether it is http or https, the port, and the folder "
    "of the packages.";
constexpr const char* CheckPort =
    "Check the address given with --server: whether it is http or https, and the port.";
constexpr const char* Authorise =
    "Check that --server has the name that the server's certificate is made out to. If the server "
    "is one of your own, name its authority's certificate: --certificate FILE.pem";
constexpr const char* MakeRoom =
    "Make room on the disks of the networks and of temporary files, or name others: --models DIR, "
    "and TMPDIR, on Windows TMP, in the environment.";
constexpr const char* AllowWriting =
    "Let your user write to the folder of the networks and to that of temporary files, or name "
    "others: --models DIR, and TMPDIR, on Windows TMP, in the environment.";
constexpr const char* FixPackage =
    "The package on the server is at fault: it has to be a ZIP archive that holds the ONNX file at "
    "its top level.";
constexpr const char* SeeReason = "Mend what the reason names, and try again.";

}  // namespace

// The last one stands for all others.
const DownloadFailure::Cause DownloadFailure::Causes[] = {
    {ModelStatus::Offline, "the server can't be reached, or does not answer", CheckServer},
    {ModelStatus::InvalidAddress, "the address of the server is not well-formed", CheckServer},
    {ModelStatus::NotFound, "the server does not have this package", CheckPackages},
    {ModelStatus::Refused, "the server refuses", CheckAddress},
    {ModelStatus::ServerFailed, "the server has failed", TryAgain},
    {ModelStatus::BrokenOff, "the download broke off", TryAgainOrCheckPort},
    {ModelStatus::Untrusted, "the server's certificate is not trusted", Authorise},
    {ModelStatus::WrongProtocol, "what answers is no web server, or none of this protocol",
     CheckPort},
    {ModelStatus::NoSpace, "the disk is full", MakeRoom},
    {ModelStatus::NotWritable, "a file can't be written", AllowWriting},
    {ModelStatus::Damaged, "what the server sent is no model package, or damaged", FixPackage},
    {ModelStatus::WillNotLoad, "the network in the package can't be loaded", FixPackage},
    {ModelStatus::NoRuntime, "the inference runtime can't be used",
     "Run tools/setup.sh, and build again."},
    {ModelStatus::Failed, "it can't be installed", SeeReason},
};

DownloadFailure::DownloadFailure(std::string_view name, const Learning::ModelOutcome& outcome)
    : DownloadFailure(name, outcome.reason, FindCause(outcome.status)) {}

DownloadFailure::DownloadFailure(std::string_view name, std::string_view reason, const Cause& cause)
    : Failure("cannot download %1: %2 (%3)", name, cause.what, reason), m_cause(cause) {}

const DownloadFailure::Cause& DownloadFailure::FindCause(ModelStatus status) {
    const auto* const found = std::ranges::find(Causes, status, &Cause::status);
    return found != std::end(Causes) ? *found : *std::prev(std::end(Causes));
}

}  // namespace LearningApp
