#include "commands/ModelStaging.h"

#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Learning/ModelCache.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "files/Paths.h"

#include <chrono>
#include <filesystem>
#include <random>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace LearningApp {

namespace {

using Learning::ModelCache;

constexpr std::string_view StagingPrefix = "new-";  // after that of all temporary files
constexpr std::chrono::hours AbandonedAge{48};      // as of temporary files
constexpr int FolderDepth = 16;                     // of packages

/// Whether a folder stands at `path`, and no link to one.
bool IsOwnFolder(const std::string& path) {
    return IsFolder(path) && Kernel::FileSystem::FollowLinks(path) == path;
}

/// Moves all that `source` holds into the folder `target`. Folders that both have become one, but
/// links are not followed, and an empty folder yields to a file.
void MoveInto(const std::string& source, const std::string& target) {
    for (const Kernel::String& name : Kernel::FileSystem::GetNames(source)) {
        const std::string origin = source + "/" + name.c_str();
        const std::string place = target + "/" + name.c_str();
        if (IsFolder(origin) && IsOwnFolder(place)) {
            MoveInto(origin, place);
            continue;
        }
        Kernel::FileSystem::DeleteEmptyFolder(place);
        std::error_code error;
        std::filesystem::rename(ToPath(origin), ToPath(place), error);
        if (error) {
            throw Failure("cannot write %1: %2", place, Kernel::DescribeError(error));
        }
    }
}

std::string MakePrefix() {
    return std::string(Kernel::FileSystem::TemporaryFilePrefix) + std::string(StagingPrefix);
}

std::string PickName() {
    return MakePrefix() + std::to_string(std::random_device{}());
}

/// None of a folder that can't be read.
std::vector<Kernel::String> GetReadableNames(const std::string& folder) {
    try {
        return Kernel::FileSystem::GetNames(folder);
    } catch (const Kernel::IoException&) {
        return {};
    }
}

/// Deletes the folders that downloads which were killed two days ago or earlier have left in
/// `folder`. The model cache looks into its own folder only, which is a new one.
void DeleteAbandonedFolders(const std::string& folder) {
    const auto latest = std::filesystem::file_time_type::clock::now() - AbandonedAge;
    for (const Kernel::String& name : GetReadableNames(folder)) {
        const std::string place = folder + name.c_str();
        if (std::string_view(name).starts_with(MakePrefix()) && IsOwnFolder(place) &&
            Kernel::FileSystem::Examine(place).modified <= latest) {
            Kernel::FileSystem::DeleteAll(place);
        }
    }
}

}  // namespace

ModelStaging::ModelStaging(std::string folder)
    : m_folder(std::move(folder)), m_staging(m_folder + "/" + PickName()) {
    CreateFolder(m_staging);
    DeleteAbandonedFolders(m_folder + "/");
    Kernel::FileSystem::DeleteAbandonedFiles(m_folder, FolderDepth);
    ModelCache::GetInstance().SetModelCacheFolder(m_staging);
}

ModelStaging::~ModelStaging() {
    ModelCache::GetInstance().SetModelCacheFolder(m_folder);
    Kernel::FileSystem::DeleteAll(m_staging);
}

void ModelStaging::Commit() const {
    MoveInto(m_staging, m_folder);
}

std::string ModelStaging::Rename(std::string text) const {
    for (std::size_t at = 0; (at = text.find(m_staging, at)) != std::string::npos;) {
        text.replace(at, m_staging.size(), m_folder);
        at += m_folder.size();
    }
    return text;
}

}  // namespace LearningApp
