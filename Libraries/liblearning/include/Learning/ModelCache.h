// The catalogue of local models and the host's settings for local inference.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/Counted.h"
#include "Kernel/CriticalSection.h"
#include "Kernel/String.h"
#include "Learning/Export.h"
#include "Learning/Model.h"
#include "Learning/ModelOutcome.h"
#include "Network/HttpProgress.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace Learning {

/// The models that the host's features use: where their files are, and those that are loaded.
///
/// A model's file is the cache folder, the package name and ".onnx". The 2.6 packages are for the
/// CPU; in the other inference modes the 3.2 packages are used where there are any.
///
/// Threads: GetModel(), DeleteModel(), Shutdown() and the inference mode are for any thread at any
/// time. The other settings take no lock: the host makes them at start-up.
class LEARNING_API ModelCache {
public:
    enum ModelType : std::uint32_t {
        SegmentationEncoder = 0,
        SegmentationDecoder = 1,
        DepthEstimation = 2,
        Colourisation = 3,
        SuperResolution = 4,
    };

    /// What local inference runs on. Any other value behaves as MaxEfficiency.
    enum InferenceMode : std::uint32_t {
        CPU = 0,
        MaxPerformance = 1,
        MaxEfficiency = 2,
    };

    ModelCache();
    ~ModelCache();
    ModelCache(const ModelCache&) = delete;
    ModelCache& operator=(const ModelCache&) = delete;

    /// The instance that the whole process shares, created on the first call.
    static ModelCache& GetInstance();

    /// Releases every loaded model; for the host's way out. Settings stay, and models can be loaded
    /// again.
    void Shutdown();

    /// Gives memory that loading and running models has left unused back to the system, as
    /// Shutdown() does. For a host that goes on without models for a while; takes some
    /// milliseconds.
    static void TrimMemory() noexcept;

    /// Ends in "/" once it is set. Empty before: model files are then sought in the current folder.
    Kernel::String GetModelCacheFolder() const { return m_modelCacheFolder; }
    /// Deliberate: a "/" is appended always, so "models/" becomes "models//" and "" becomes "/",
    /// the root folder.
    void SetModelCacheFolder(const Kernel::String& folder);

    /// What addresses of packages start with, as it was set: no separator is added.
    Kernel::String GetModelURLRoot() const { return m_modelURLRoot; }
    void SetModelURLRoot(Kernel::String root);

    /// ".onnx"
    Kernel::String GetModelExtension() const;

    InferenceMode GetInferenceMode() const noexcept { return m_inferenceMode; }
    /// Loaded models stay as they are: a model that was opened in one mode serves in the next until
    /// it is deleted or Shutdown() is called.
    /// That of GetInstance() is the mode in which all model files of the process are opened, by
    /// other instances too.
    void SetInferenceMode(InferenceMode mode);

    /// Whether the current user may use local inference. Kept for the host; nothing here asks it.
    bool GetUserCanDoInference() const noexcept { return m_userCanDoInference; }
    void SetUserCanDoInference(bool canDoInference) noexcept;

    /// Always true.
    bool IsInferenceAvailable() const noexcept { return true; }
    /// Always Model::Default.
    Model::EP GetEP() const noexcept { return Model::Default; }
    /// Always "Default".
    Kernel::String GetEPName() const;

    /// The package of `type` for the inference mode of GetInstance(), even on another instance.
    /// Empty for a value that is no model type.
    Kernel::String ModelTypeToPackageName(ModelType type) const;
    /// The files of `type`: always one, whether it is there or not.
    std::vector<Kernel::String> ModelTypeToModelPaths(ModelType type) const;
    /// Whether the file of `type` is there.
    bool IsModelAvailable(ModelType type) const;

    /// The model of `type`, loaded if it is not yet. Null, after a line in the log, if it can't be;
    /// the next call tries again. Loading may take seconds, and keeps other threads' calls waiting.
    /// A failure to register execution providers is thrown as it comes.
    Kernel::Counted<Model> GetModel(ModelType type);
    /// The same. Another thread may set `abort`, if it is not null: loading then ends, with null
    /// and ModelStatus::Cancelled, but not the wait for what other threads load.
    Kernel::Counted<Model> GetModel(ModelType type, Kernel::AbortFlag abort);

    /// Forgets the model of `type` and what came of it, and deletes its file, or whatever else
    /// stands in its place. True always. Models that callers hold stay usable.
    bool DeleteModel(ModelType type);

    /// Told how far a download is, once a second at least, on the thread of the transfer. What it
    /// throws ends the download.
    using DownloadProgress =
        std::function<void(Network::Http::ProgressInformation progress, ModelType type)>;

    /// Fetches the package of `type` for the current mode from the model server, unpacks it into
    /// the cache folder and loads the model. Blocks for as long as that takes. `progress` may be
    /// empty.
    ///
    /// True if there is a model of that type in the end, even if it was loaded before and the
    /// package held another one. False, after lines in the log that say why, if the transfer
    /// failed, the package can't be read or the model can't be loaded. A file in the cache folder
    /// is replaced when its successor is whole and never damaged; what a failed transfer brought
    /// stays in the folder for temporary files and is deleted by a download that starts two days
    /// later.
    ///
    /// Threads: any, but two downloads of one type at the same time do the same work twice.
    bool DownloadModel(ModelType type, DownloadProgress progress);
    /// The same. Another thread may set `abort`, if it is not null: a download or an installation
    /// that is under way then ends within 200 ms, with the cache folder as it was. The loading of
    /// what is installed may take longer to end.
    bool DownloadModel(ModelType type, DownloadProgress progress, Kernel::AbortFlag abort);

    /// What came of the last GetModel() or DownloadModel() of `type` that has returned: whether
    /// there is a usable model and, if not, why. After a download it is the download's: a model
    /// that was there before does not make a failed download a success.
    ///
    /// Threads: any, at any time; does not wait for models that are being loaded.
    ModelOutcome GetOutcome(ModelType type) const;

private:
    Kernel::Counted<Model> FindOrLoad(ModelType type, ModelOutcome& outcome,
                                      Kernel::AbortFlag abort);
    void NoteOutcome(ModelType type, ModelOutcome outcome);

    Kernel::String m_modelCacheFolder;
    Kernel::String m_modelURLRoot;
    std::map<ModelType, Kernel::Counted<Model>> m_models;  // null: not loaded
    Kernel::CriticalSection m_lock;                        // guards m_models
    std::map<ModelType, ModelOutcome> m_outcomes;
    mutable Kernel::CriticalSection m_outcomesLock;  // is never held for long, as the other may be
    std::atomic<InferenceMode> m_inferenceMode{InferenceMode::CPU};
    bool m_userCanDoInference = false;
};

}  // namespace Learning
