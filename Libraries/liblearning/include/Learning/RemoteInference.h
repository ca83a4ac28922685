// The client of the inference service.

#pragma once

#include "Kernel/Broadcaster.h"
#include "Kernel/JsonFwd.h"
#include "Kernel/NeverDestroyed.h"
#include "Kernel/String.h"
#include "Learning/Export.h"
#include "Learning/ImageToImageAlphaMode.h"
#include "Learning/RemoteInferenceHelper.h"
#include "Learning/RemoteModels.h"
#include "Learning/RemoteNotifications.h"
#include "Learning/RemoteOptions.h"
#include "Learning/RemoteResult.h"
#include "Raster/Buffer.h"
#include "Raster/ICCManager.h"

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

    // --- Pictures ---
    //
    // The service makes pictures in jobs of tens of seconds; these operations wait for it. The
    // result's message is the job's name at the service once pictures could be had. What has been
    // accepted can be fetched again by the Resume operations, with the other arguments as they
    // were: a RemoteControl hears of the job in time.
    //
    // The pictures that the service sends in one call may have 2^28 pixels together; one beyond
    // that counts as a file that is no picture, and what came before stays.
    //
    // `progress` hears how far they are unless it or `context` is null. Pictures are sent in sRGB
    // as JPEG, without metadata, and nothing of pixels that are fully transparent is sent.

    /// The pixels that guide the service.
    using Guidance =
        Raster::Buffer<Raster::Red8, Raster::Green8, Raster::Blue8, Raster::Alpha8, Raster::X5>;
    using Pictures = std::vector<Kernel::Counted<Raster::DynamicBitmap>>;

    /// Makes `count` pictures of what `prompt` describes, without what `negativePrompt` does, and
    /// appends them to `pictures`, which they stay in even if the call fails later; those that are
    /// there already count. `guidance`, which is sent as it is, may be null. If the service is to
    /// enhance the prompt, `prompt` becomes what it has made of it. GenerationRejected if there is
    /// no picture in the end.
    Result InferTextToImage(TextToImageModel model, TextToImageAspect aspect,
                            Kernel::Counted<Guidance> guidance, TextToImageGuidanceMode mode,
                            Kernel::String& prompt, Kernel::String negativePrompt,
                            bool enhancePrompt, GenerationStyle style, int count,
                            Pictures& pictures, ProgressCallback progress, void* context);
    Result ResumeTextToImage(Kernel::String job, const TextToImageModel& model,
                             Kernel::String& prompt, bool enhancePrompt, int count,
                             Pictures& pictures, ProgressCallback progress, void* context);

    /// Changes the visible part of `input` as `prompt` says: `output` becomes a picture of its size
    /// and format that has the result in that place, and nothing elsewhere. RequestInsufficient if
    /// `input` is null or nothing of it is visible, or the part has sides that no model takes;
    /// GenerationRejected if `output` is null in the end.
    Result InferImageToImage(ImageToImageModel model,
                             Kernel::Counted<const Raster::DynamicBitmap> input,
                             Kernel::String prompt, ImageToImageAlphaMode alphaMode,
                             Kernel::Counted<Raster::DynamicBitmap>& output,
                             ProgressCallback progress, void* context);
    Result ResumeImageToImage(Kernel::String job, ImageToImageModel model,
                              Kernel::Counted<const Raster::DynamicBitmap> input,
                              ImageToImageAlphaMode alphaMode,
                              Kernel::Counted<Raster::DynamicBitmap>& output,
                              ProgressCallback progress, void* context);

    /// Separates what `input` shows from its background: `output` becomes a picture of its size and
    /// format with that alone. `profiles` are those of the colours of bitmaps by their formats; for
    /// a format without one, that of the bitmap counts. UnknownError if nothing of `input` is
    /// visible.
    Result InferImageRemoveBG(Kernel::Counted<const Raster::DynamicBitmap> input,
                              const Raster::ICCManager::ICCProfileSet& profiles,
                              Kernel::Counted<Raster::DynamicBitmap>& output,
                              ProgressCallback progress, void* context);

    /// Makes `count` variants of a region of a document, in which what `prompt` describes replaces
    /// an object. The alpha of `picture` is the object's shape, `placement` puts the picture into
    /// the document, and `profile` is that of its colours, sRGB if empty. The variants are appended
    /// to `pictures`, as in InferTextToImage(), and `regionPlacement` becomes what puts them into
    /// the document. With `preparesRegion` and a `strength` of 1 the helper prepares what is sent.
    /// UnknownError if `strength` is not finite.
    Result InferImageObjectReplacement(const RemoteInferenceHelper& helper,
                                       Kernel::Counted<const Raster::DynamicBitmap> picture,
                                       const Raster::AffineTransform::Params& placement,
                                       Kernel::Consolidated<Raster::ICCProfile> profile,
                                       Kernel::String prompt, double strength, int count,
                                       bool preparesRegion, Pictures& pictures,
                                       Raster::AffineTransform::Params& regionPlacement,
                                       ProgressCallback progress, void* context);
    Result ResumeImageObjectReplacement(Kernel::String job, const RemoteInferenceHelper& helper,
                                        Kernel::Counted<const Raster::DynamicBitmap> picture,
                                        const Raster::AffineTransform::Params& placement, int count,
                                        Pictures& pictures,
                                        Raster::AffineTransform::Params& regionPlacement,
                                        ProgressCallback progress, void* context);

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
