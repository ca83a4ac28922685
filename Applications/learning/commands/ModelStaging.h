// A folder for new networks, so that the ones that work are replaced only by ones that work.

#pragma once

#include <string>

namespace LearningApp {

/// For as long as this object lives, the model cache installs into a new folder within its own.
class ModelStaging {
public:
    /// Deletes first what downloads have left that were killed. Throws Failure if the folder can't
    /// be made.
    explicit ModelStaging(std::string folder);
    ModelStaging(const ModelStaging&) = delete;
    ModelStaging& operator=(const ModelStaging&) = delete;
    /// Deletes what was not committed.
    ~ModelStaging();

    /// Moves what was installed to the cache's folder, over what is there. Throws Failure if a file
    /// can't be moved.
    void Commit() const;

    /// `text` with the names of files as they would be after Commit().
    std::string Rename(std::string text) const;

private:
    const std::string m_folder;
    const std::string m_staging;
};

}  // namespace LearningApp
