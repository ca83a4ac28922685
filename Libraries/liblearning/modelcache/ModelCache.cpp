#include "Learning/ModelCache.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Memory.h"
#include "Kernel/NeverDestroyed.h"

#include "inference/DevicePolicy.h"
#include "modelcache/ModelOutcomes.h"

#include <array>
#include <utility>

namespace Learning {

namespace {

constexpr const char* ModelExtension = ".onnx";

struct CatalogueEntry {
    const char* cpuPackage;
    const char* acceleratedPackage;
    Model::EP ep;
};

// By ModelType. Depth estimation and colourisation run on the CPU whatever the mode.
constexpr std::array<CatalogueEntry, 5> Catalogue{{
    {"SegmentationEncoder_2.6", "SegmentationEncoder_3.2", Model::Default},
    {"SegmentationDecoder_2.6", "SegmentationDecoder_3.2", Model::Default},
    {"DepthEstimation_2.6", "DepthEstimation_2.6", Model::CPUOnly},
    {"Colourisation_2.6", "Colourisation_2.6", Model::CPUOnly},
    {"SuperResolution_2.6", "SuperResolution_3.2", Model::Default},
}};

DevicePolicy ToDevicePolicy(ModelCache::InferenceMode mode) noexcept {
    switch (mode) {
        case ModelCache::CPU:
            return DevicePolicy::CPU;
        case ModelCache::MaxPerformance:
            return DevicePolicy::MaxPerformance;
        case ModelCache::MaxEfficiency:
            break;
    }
    return DevicePolicy::MaxEfficiency;  // Deliberate: for values that are no mode, too.
}

CatalogueEntry GetCatalogueEntry(ModelCache::ModelType type) noexcept {
    return type < Catalogue.size() ? Catalogue[type] : CatalogueEntry{"", "", Model::Default};
}

}  // namespace

ModelCache::ModelCache() = default;
ModelCache::~ModelCache() = default;

ModelCache& ModelCache::GetInstance() {
    // Downloads of other threads use it until the process ends.
    static Kernel::NeverDestroyed<ModelCache> instance;
    return *instance;
}

void ModelCache::Shutdown() {
    {
        const Kernel::ScopedLock lock(m_lock);
        m_models.clear();
    }
    TrimMemory();
}

void ModelCache::TrimMemory() noexcept {
    Kernel::ReturnFreeMemory();
}

void ModelCache::SetModelCacheFolder(const Kernel::String& folder) {
    m_modelCacheFolder = folder + "/";
    Kernel::Trace::Write("Model cache is: %1\r\n", m_modelCacheFolder);
}

void ModelCache::SetModelURLRoot(Kernel::String root) {
    m_modelURLRoot = std::move(root);
}

Kernel::String ModelCache::GetModelExtension() const {
    return ModelExtension;
}

void ModelCache::SetInferenceMode(InferenceMode mode) {
    const Kernel::ScopedLock lock(m_lock);
    m_inferenceMode = mode;
    if (this == &GetInstance()) {
        SetDevicePolicy(ToDevicePolicy(mode));
    }
}

void ModelCache::SetUserCanDoInference(bool canDoInference) noexcept {
    m_userCanDoInference = canDoInference;
}

Kernel::String ModelCache::GetEPName() const {
    return "Default";
}

Kernel::String ModelCache::ModelTypeToPackageName(ModelType type) const {
    const CatalogueEntry entry = GetCatalogueEntry(type);
    return GetInstance().GetInferenceMode() == CPU ? entry.cpuPackage : entry.acceleratedPackage;
}

std::vector<Kernel::String> ModelCache::ModelTypeToModelPaths(ModelType type) const {
    return {m_modelCacheFolder + ModelTypeToPackageName(type) + ModelExtension};
}

bool ModelCache::IsModelAvailable(ModelType type) const {
    return Kernel::FileSystem::Exists(ModelTypeToModelPaths(type).front());
}

Kernel::Counted<Model> ModelCache::GetModel(ModelType type) {
    return GetModel(type, nullptr);
}

Kernel::Counted<Model> ModelCache::GetModel(ModelType type, Kernel::AbortFlag abort) {
    const Kernel::ScopedLock lock(m_lock);  // until the outcome is noted: the model may be deleted
    ModelOutcome outcome = MakeOutcome(ModelStatus::WillNotLoad, "a device can't be registered");
    try {
        Kernel::Counted<Model> model = FindOrLoad(type, outcome, abort);
        NoteOutcome(type, std::move(outcome));
        return model;
    } catch (...) {
        NoteOutcome(type, std::move(outcome));
        throw;
    }
}

/// The loaded model of `type`, loaded if need be; null if it can't be. Tells the outcome unless it
/// throws.
Kernel::Counted<Model> ModelCache::FindOrLoad(ModelType type, ModelOutcome& outcome,
                                              Kernel::AbortFlag abort) {
    const Kernel::ScopedLock lock(m_lock);
    Kernel::Counted<Model> model = m_models[type];
    if (!model) {
        model = Kernel::MakeCounted<Model>(ModelTypeToModelPaths(type), GetCatalogueEntry(type).ep,
                                           abort);
        if (!model->IsValid()) {
            outcome = Kernel::IsSet(abort)
                          ? MakeOutcome(ModelStatus::Cancelled, model->GetFailure())
                          : MakeLoadOutcome(*model, IsModelAvailable(type));
            return nullptr;
        }
        m_models[type] = model;  // looked up anew: a log sink may have called Shutdown() meanwhile
    }
    outcome = MakeOutcome(ModelStatus::Installed);
    return model;
}

ModelOutcome ModelCache::GetOutcome(ModelType type) const {
    const Kernel::ScopedLock lock(m_outcomesLock);
    const auto found = m_outcomes.find(type);
    return found != m_outcomes.end() ? found->second : ModelOutcome();
}

void ModelCache::NoteOutcome(ModelType type, ModelOutcome outcome) {
    const Kernel::ScopedLock lock(m_outcomesLock);
    m_outcomes[type] = std::move(outcome);
}

bool ModelCache::DeleteModel(ModelType type) {
    const Kernel::ScopedLock lock(m_lock);
    NoteOutcome(type, {});
    m_models[type] = nullptr;
    Kernel::FileSystem::DeleteAll(ModelTypeToModelPaths(type).front());
    return true;
}

}  // namespace Learning
