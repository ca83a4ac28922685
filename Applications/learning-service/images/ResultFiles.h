// The files that jobs and uploads have as their results.

#pragma once

#include "jobs/Job.h"
#include "operations/Operation.h"

#include <optional>
#include <string_view>

namespace Service {

/// Where they are below the folder of the operations.
inline constexpr const char* ResultFolder = "results/";
/// The name of the archive that is an upload's result.
inline constexpr const char* ArchiveName = "cutout.zip";

/// The number that `text` is in the only way to write it, up to 9999.
std::optional<int> ParseIndex(std::string_view text);

/// GET and HEAD of TOKEN/INDEX.EXTENSION for jobs and TOKEN/cutout.zip for uploads. The token is
/// all that a client needs.
class ResultOperation : public Operation {
public:
    explicit ResultOperation(Studio& studio) : m_studio(studio) {}

    Response Handle(const Server::Request& request, const std::string& path) const override;
    std::size_t GetBodyLimit() const noexcept override { return 0; }

private:
    Studio& m_studio;
};

}  // namespace Service
