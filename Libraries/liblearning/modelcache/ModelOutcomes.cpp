#include "modelcache/ModelOutcomes.h"

#include "Kernel/AbortFlag.h"
#include "Kernel/IoException.h"

#include "inference/ONNXRuntime.h"

#include <array>
#include <utility>

namespace Learning {

namespace {

using Network::Http::FailureReason;

// By ModelStatus.
constexpr std::array<const char*, 17> Messages{
    "",
    "The model is installed.",
    "The model server can't be reached. Check your connection to the internet.",
    "The model is not there.",
    "The model server refuses to send the model.",
    "The model package is damaged.",
    "There is not enough room on the disk for the model.",
    "The download of the model was cancelled.",
    "The model can't be loaded.",
    "Models can't be run on this computer: the inference runtime is missing or can't be used.",
    "The address of the model server is not valid.",
    "There is no secure connection to the model server.",
    "The model server does not speak the expected protocol.",
    "The download of the model was interrupted. Try again.",
    "The model server has a problem. Try again later.",
    "The model can't be saved: its folder may not be written to.",
    "The model can't be installed.",
};

bool IsNotAllowed(std::error_code error) noexcept {
    return error == std::errc::permission_denied || error == std::errc::operation_not_permitted ||
           error == std::errc::read_only_file_system;
}

ModelStatus ToStatus(std::error_code error, ModelStatus otherwise) noexcept {
    return Kernel::IsSpaceShort(error) ? ModelStatus::NoSpace
           : IsNotAllowed(error)       ? ModelStatus::NotWritable
                                       : otherwise;
}

/// For a complete response that is no success.
ModelStatus ToStatus(int status) noexcept {
    return status == 404 || status == 410   ? ModelStatus::NotFound
           : status >= 500 && status <= 599 ? ModelStatus::ServerFailed
                                            : ModelStatus::Refused;
}

ModelStatus ToStatus(const Network::Http::Response& response) noexcept {
    switch (response.reason) {
        case FailureReason::None:
            return ToStatus(response.status);
        case FailureReason::Cancelled:
            return ModelStatus::Cancelled;
        case FailureReason::Invalid:
            return ModelStatus::InvalidAddress;
        case FailureReason::Unreachable:
        case FailureReason::TimedOut:
            return ModelStatus::Offline;
        case FailureReason::Untrusted:
            return ModelStatus::Untrusted;
        case FailureReason::WrongProtocol:
            return ModelStatus::WrongProtocol;
        case FailureReason::Broken:
            return ModelStatus::BrokenOff;
        case FailureReason::Local:
            break;
    }
    return ToStatus(response.error, ModelStatus::Failed);
}

}  // namespace

ModelOutcome MakeOutcome(ModelStatus status, Kernel::String reason) {
    const char* const text = Messages.at(static_cast<std::size_t>(status));
    return {status, Kernel::LocalisedString("ModelCache", text), std::move(reason)};
}

ModelOutcome MakeOutcome(const Network::Http::Response& response) {
    return MakeOutcome(ToStatus(response), response.failure);
}

ModelOutcome MakeOutcome(std::error_code error, Kernel::String reason, ModelStatus otherwise) {
    return MakeOutcome(ToStatus(error, otherwise), std::move(reason));
}

ModelOutcome MakeInstallOutcome(const std::exception& error) {
    if (dynamic_cast<const Kernel::Aborted*>(&error) != nullptr) {
        return MakeOutcome(ModelStatus::Cancelled, error.what());
    }
    const auto* const failure = dynamic_cast<const Kernel::IoException*>(&error);
    if (failure == nullptr) {
        return MakeOutcome(ModelStatus::Failed, error.what());
    }
    const SkippedEntry whole{{}, error.what(), failure->GetCode()};
    return MakeInstallOutcome(whole);
}

ModelOutcome MakeInstallOutcome(const SkippedEntry& skipped) {
    return MakeOutcome(skipped.error, skipped.reason,
                       skipped.error ? ModelStatus::Failed : ModelStatus::Damaged);
}

ModelOutcome MakeDownloadOutcome(const std::exception& error) {
    const auto* const failure = dynamic_cast<const Kernel::IoException*>(&error);
    if (failure == nullptr) {
        return MakeOutcome(ModelStatus::Failed, error.what());
    }
    return MakeOutcome(failure->GetCode(), error.what(), ModelStatus::NotWritable);
}

ModelOutcome MakeLoadOutcome(const Model& model, bool hasFile) {
    const ModelStatus status = !IsONNXRuntimeUsable() ? ModelStatus::NoRuntime
                               : hasFile              ? ModelStatus::WillNotLoad
                                                      : ModelStatus::NotFound;
    return MakeOutcome(status, model.GetFailure());
}

}  // namespace Learning
