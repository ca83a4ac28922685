// Cutting the thing out that a picture is of.

#pragma once

#include "envelope/EnvelopeOperation.h"
#include "jobs/Job.h"

namespace Service {

/// Where pictures are uploaded, below the folder of the operations.
inline constexpr const char* UploadFolder = "uploads/";

/// "removeBackgroundInit": the address "upload_url" to put a picture to, once, and its "upload_id".
class RemoveBackgroundInitOperation : public EnvelopeOperation {
public:
    RemoveBackgroundInitOperation(const Credentials& credentials, Studio& studio)
        : EnvelopeOperation({}, credentials), m_studio(studio) {}

private:
    Response Answer(const Envelope& envelope) const override;

    Studio& m_studio;
};

/// PUT of application/octet-stream to that address, of less than 22,000,000 bytes. What the bytes
/// are is looked at later. 404 for addresses that are not known, 409 for a second upload.
class UploadOperation : public Operation {
public:
    explicit UploadOperation(Studio& studio) : m_studio(studio) {}

    Response Handle(const Server::Request& request, const std::string& path) const override;
    std::size_t GetBodyLimit() const noexcept override { return 21'999'999; }

private:
    Studio& m_studio;
};

/// "removeBackgroundComplete": "download_url", the address of a ZIP archive with the picture that
/// was uploaded as "upload_id": its colours as "color.jpg" and, as "alpha.png", a grey picture of
/// how opaque its pixels are, as a Segmenter or else FindForeground() finds them. Asked again,
/// it gives the same address.
class RemoveBackgroundCompleteOperation : public EnvelopeOperation {
public:
    RemoveBackgroundCompleteOperation(const Credentials& credentials, Studio& studio)
        : EnvelopeOperation({{"upload_id"}}, credentials), m_studio(studio) {}

private:
    Response Answer(const Envelope& envelope) const override;
    void Complete(const std::string& id, Upload& upload) const;

    Studio& m_studio;
};

}  // namespace Service
