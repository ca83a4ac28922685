#include "commands/ModelStaging.h"

#include "Kernel/FileSystem.h"
#include "Learning/ModelCache.h"

#include "failures/Failure.h"
#include "files/Files.h"

#include <filesystem>
#include <random>
#include <string_view>
#include <system_error>
#include <utility>

namespace LearningApp {

namespace {

using Learning::ModelCache;

/// Moves all that `source` holds into the folder `target`. Folders that both have become one, but
/// links are not followed, and an empty folder yields to a file.
void MoveInto(const std::filesystem::path& source, const std::filesystem::path& target) {
    for (const auto& entry : std::filesystem::directory_iterator(source)) {
        const auto place = target / entry.path().filename();
        std::error_code error;
        if (entry.is_directory() && is_directory(symlink_status(place, error))) {
            MoveInto(entry.path(), place);
            continue;
        }
        Kernel::FileSystem::DeleteEmptyFolder(place.string());
        std::filesystem::rename(entry.path(), place, error);
        if (error) {
            throw Failure("cannot write %1: %2", place.string(), error.message());
        }
    }
}

std::string PickName() {
    return std::string(Kernel::FileSystem::TemporaryFilePrefix) + "new-" +
           std::to_string(std::random_device{}());
}

}  // namespace

ModelStaging::ModelStaging(std::string folder)
    : m_folder(std::move(folder)), m_staging(m_folder + "/" + PickName()) {
    CreateFolder(m_staging);
    ModelCache::GetInstance().SetModelCacheFolder(m_staging);
}

ModelStaging::~ModelStaging() {
    ModelCache::GetInstance().SetModelCacheFolder(m_folder);
    Kernel::FileSystem::DeleteAll(m_staging);
}

void ModelStaging::Commit() const {
    MoveInto(ToPath(m_staging), ToPath(m_folder));
}

std::string ModelStaging::Rename(std::string text) const {
    for (std::size_t at = 0; (at = text.find(m_staging, at)) != std::string::npos;) {
        text.replace(at, m_staging.size(), m_folder);
        at += m_folder.size();
    }
    return text;
}

}  // namespace LearningApp
