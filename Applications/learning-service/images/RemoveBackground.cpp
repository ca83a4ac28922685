#include "images/RemoveBackground.h"

#include "Kernel/Json.h"

#include "codecs/PictureFiles.h"
#include "codecs/ZipFile.h"
#include "drawing/CutOut.h"
#include "envelope/Rejection.h"
#include "images/Checks.h"
#include "images/ResultFiles.h"

namespace Service {

namespace {

/// The archive for a picture in `bytes`. Throws Rejection if they are none.
std::string CutOut(Segmenter& segmenter, const std::string& bytes) {
    constexpr int Quality = 95;
    const PicturePointer picture = ReadPicture(bytes, PictureKinds::JPEGAndPNG);
    if (!picture) {
        throw Rejection(Code::UnfitPicture);
    }
    std::optional<std::vector<std::uint8_t>> foreground = segmenter.Find(*picture);
    if (!foreground) {
        foreground = FindForeground(*picture);
    }
    const std::string alpha = WriteGreyPNG(*foreground, picture->GetWidth());
    // A file that is what is wanted loses nothing when it is not encoded anew.
    const std::string colour = IsJPEG(bytes) ? bytes : WriteJPEG(*picture, Quality);
    return MakeZipFile({{"color.jpg", colour}, {"alpha.png", alpha}});
}

}  // namespace

Response RemoveBackgroundInitOperation::Answer(const Envelope& envelope) const {
    constexpr std::size_t Overhead = 1024;
    const std::string& origin = TakeOrigin(envelope);
    const Names names = m_studio.uploads.Add(std::make_shared<Upload>(), Overhead);
    const std::string address = origin + m_studio.folder + UploadFolder + names.token;
    return AnswerJson({{"upload_url", address}, {"upload_id", names.id}});
}

Response UploadOperation::Handle(const Server::Request& request, const std::string& path) const {
    if (request.method != "PUT") {
        return Refuse(405, "pictures are uploaded by PUT", {{"Allow", "PUT"}});
    }
    const std::string* const type = Server::FindHeader(request.headers, "Content-Type");
    if (type == nullptr || *type != "application/octet-stream") {
        return Refuse(415, "the Content-Type has to be application/octet-stream");
    }
    if (request.body.empty()) {
        return Refuse(400, "there is nothing in the upload");
    }
    const std::shared_ptr<Upload> upload = m_studio.uploads.FindByToken(path);
    if (!upload) {
        return Refuse(404, "there is no such place for an upload, or not any more");
    }
    const std::lock_guard lock(upload->mutex);
    if (!upload->content.empty() || !upload->archive.empty()) {
        return Refuse(409, "there is an upload already");
    }
    try {
        m_studio.uploads.Resize(path, request.body.size());
    } catch (const Rejection&) {
        return Refuse(503, "there is no room for an upload; try again later");
    }
    upload->content = request.body;
    return {200, {}, {}};
}

Response RemoveBackgroundCompleteOperation::Answer(const Envelope& envelope) const {
    const std::string& origin = TakeOrigin(envelope);
    const std::string& id = envelope.Get("upload_id");
    const auto [upload, token] = m_studio.uploads.Find(id);
    if (!upload) {
        throw Rejection(Code::NoSuchUpload);
    }
    {
        const std::lock_guard lock(upload->mutex);
        if (upload->archive.empty()) {
            Complete(id, *upload);
        }
    }
    return AnswerJson(
        {{"download_url", origin + m_studio.folder + ResultFolder + token + '/' + ArchiveName}});
}

void RemoveBackgroundCompleteOperation::Complete(const std::string& id, Upload& upload) const {
    if (upload.content.empty()) {
        throw Rejection(Code::NothingUploaded);
    }
    std::string archive;
    {
        const Workbench::Seat seat = m_studio.bench.Enter();
        archive = CutOut(m_studio.segmenter, upload.content);
    }
    m_studio.uploads.Resize(id, archive.size());
    upload.archive = std::move(archive);
    upload.content = {};
    m_studio.onAccepted("accepted removeBackgroundComplete, upload " + id);
}

}  // namespace Service
