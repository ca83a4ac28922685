// The client of the inference service.

#pragma once

#include "Kernel/Broadcaster.h"
#include "Kernel/JsonFwd.h"
#include "Kernel/NeverDestroyed.h"
#include "Kernel/String.h"
#include "Learning/Export.h"
#include "Learning/RemoteModels.h"
#include "Learning/RemoteNotifications.h"
#include "Learning/RemoteResult.h"

#include <memory>
#include <vector>

namespace Learning {

/// Operations that the service performs, with the account of the user. They block, throw nothing,
/// and set their results on success alone, if not said otherwise. A RemoteControl can end them.
///
/// Posts a RemoteInferenceStartedNotification when the first operation begins, and a
/// RemoteInferenceEndedNotification when the last has ended, on the threads of these operations and
/// always to the listeners of GetInstance(). Operations that no notification announces say so.
///
/// A copy has its own credentials and lists, and starts without listeners; what is assigned to or
/// moved from keeps its listeners.
///
/// Threads: operations run at the same time on any. The rest takes no lock: the host calls Init()
/// once at start-up, and sets credentials between operations.
class LEARNING_API RemoteInference : public Kernel::Broadcaster {
public:
    using Result = RemoteResult;
    using TextToImageModel = Learning::TextToImageModel;
    using ImageToImageModel = Learning::ImageToImageModel;

    /// The client that the whole process shares, made on the first call. Usable until the process
    /// ends.
    static RemoteInference& GetInstance();

    RemoteInference(const RemoteInference& other);
    RemoteInference(RemoteInference&& other) noexcept;
    RemoteInference& operator=(const RemoteInference& other);
    RemoteInference& operator=(RemoteInference&& other) noexcept;
    ~RemoteInference() override;

    // --- What the service offers ---

    /// Loads the catalogue: from the service if `online`, which waits for it, else or if that fails
    /// the one that is compiled in. Appends to the lists: to be called once. Throws nothing but
    /// nlohmann::json::type_error, which is Kernel::Json::Value::type_error, for a catalogue from
    /// the service that is neither an object nor null; the lists are then as before.
    void Init(bool online);

    /// Whether the last Init() had the catalogue from the service.
    bool HasServiceCatalogue() const noexcept { return m_hasServiceCatalogue; }

    const std::vector<TextToImageModel>& GetTextToImageModels() const { return m_textToImage; }
    const std::vector<ImageToImageModel>& GetImageToImageModels() const { return m_imageToImage; }
    /// What the catalogue suggests; as default-constructed if it suggests nothing.
    const TextToImageModel& GetDefaultTextToImageModel() const { return m_defaultTextToImage; }
    const ImageToImageModel& GetDefaultImageToImageModel() const { return m_defaultImageToImage; }

    // --- Who asks ---

    /// Sets what identifies the user from the next request on; all empty at first.
    void SetMirelAccessTokens(Kernel::String apiUrl, Kernel::String accessToken,
                              Kernel::String userId);
    /// A credential that some services take instead. Initially the environment variable
    /// OrvantisCustomInferenceBearer, or empty.
    void SetCustomBearer(Kernel::String bearer);

    /// Whether the host lets its user use these operations; false at first. A note for the host:
    /// the operations do not look at it.
    void SetUserCanDoInference(bool canDoInference) noexcept { m_canDoInference = canDoInference; }
    bool GetUserCanDoInference() const noexcept { return m_canDoInference; }

    // --- Help for the user, and for assistants that work with the host ---
    //
    // `session` ties questions to each other: any text that the host chooses. Texts that are not
    // UTF-8 are sent with U+FFFD in the places that are not. Nothing is sent twice.

    /// Answers the question `prompt` with paragraphs of plain text.
    Result InferTextToHelp(Kernel::String prompt, Kernel::String session, Kernel::String& answer);

    /// Answers with hints for an assistant, as the service writes them. No notification announces
    /// it. UnknownError if `hints` is empty in the end; what it held before is replaced by a
    /// response of status 200 alone.
    Result InferTextToMCPHints(Kernel::String prompt, Kernel::String session,
                               Kernel::String& hints);

    /// Tells the service what went wrong, with a short word for the kind of issue. No notification
    /// announces it.
    Result ReportMCPIssue(Kernel::String issue, Kernel::String code);

    /// Tells the service that a hint was of use. No notification announces it.
    Result RecordMCPHint(Kernel::String hint);

private:
    /// A JSON value, whose type takes long to compile.
    class Configuration {
    public:
        Configuration() noexcept;
        Configuration(const Configuration& other);
        Configuration(Configuration&& other) noexcept;
        Configuration& operator=(Configuration other) noexcept;
        ~Configuration();
        Kernel::Json::Value& Get();

    private:
        std::unique_ptr<Kernel::Json::Value> m_value;  // null stands for that value
    };

    friend class Kernel::NeverDestroyed<RemoteInference>;

    RemoteInference();

    /// What every request says of its sender.
    Kernel::Json::Value GenerateStandardRequestJSON() const;

    Kernel::String m_apiUrl;
    Kernel::String m_accessToken;
    Kernel::String m_userId;
    Kernel::String m_customBearer;
    Configuration m_configuration;
    std::vector<TextToImageModel> m_textToImage;
    std::vector<ImageToImageModel> m_imageToImage;
    TextToImageModel m_defaultTextToImage;
    ImageToImageModel m_defaultImageToImage;
    bool m_canDoInference = false;
    bool m_hasServiceCatalogue = false;
};

}  // namespace Learning
