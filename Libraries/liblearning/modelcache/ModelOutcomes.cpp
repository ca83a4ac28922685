#include "modelcache/ModelOutcomes.h"

#include "Kernel/AbortFlag.h"
#include "Kernel/IoException.h"

#include "inference/ONNXRuntime.h"

#include <array>
#include <cstddef>
#include <utility>

namespace Learning {

namespace {

using Kernel::Translatable;
using Network::Http::FailureReason;

// By ModelStatus, from 1 on.
constexpr auto Messages = std::to_array<Translatable>({
    Translatable("ModelCache", "The model is installed."),
    Translatable("ModelCache",
                 "The model server can't be reached. Check your connection to the internet."),
    Translatable("ModelCache", "The model is not there."),
    Translatable("ModelCache", "The model server refuses to send the model."),
    Translatable("ModelCache", "The model package is damaged."),
    Translatable("ModelCache", "There is not enough room on the disk for the model."),
    Translatable("ModelCache", "The download of the model was cancelled."),
    Translatable("ModelCache", "The model can't be loaded."),
    Translatable(
        "ModelCache",
        "Models can't be run on this computer: the inference runtime is missing or can't be used."),
    Translatable("ModelCache", "The address of the model server is not valid."),
    Translatable("ModelCache", "There is no secure connection to the model server."),
    Translatable("ModelCache", "The model server does not speak the expected protocol."),
    Translatable("ModelCache", "The download of the model was interrupted. Try again."),
    Translatable("ModelCache", "The model server has a problem. Try again later."),
    Translatable("ModelCache", "The model can't be saved: its folder may not be written to."),
    Translatable("ModelCache", "The model can't be installed."),
});

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
    return {status, Messages.at(static_cast<std::size_t>(status) - 1), std::move(reason)};
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
