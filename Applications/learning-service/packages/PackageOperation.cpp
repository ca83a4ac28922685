#include "packages/PackageOperation.h"

#include "operations/EntityTag.h"
#include "packages/ByteRange.h"

namespace Service {

namespace {

/// The whole file, or the part of it that the request asks for.
Response Deliver(const Server::Request& request, const Server::Content& file,
                 Server::Headers headers, const std::string& tag) {
    const std::string* const ifRange = Server::FindHeader(request.headers, "If-Range");
    const std::string* const wanted = Server::FindHeader(request.headers, "Range");
    const bool isRangeAsked =
        wanted != nullptr && request.method == "GET" && (ifRange == nullptr || *ifRange == tag);
    if (!isRangeAsked) {
        return {200, std::move(headers), file};
    }
    const ByteRange range = ParseByteRange(*wanted, file.GetSize());
    const std::string size = std::to_string(file.GetSize());
    switch (range.kind) {
        case ByteRange::Kind::Whole:
            return {200, std::move(headers), file};
        case ByteRange::Kind::Outside:
            return Refuse(416, "the file has " + size + " bytes only",
                          {{"Content-Range", "bytes */" + size}});
        case ByteRange::Kind::Part:
            break;
    }
    const std::string last = std::to_string(range.start + range.count - 1);
    headers.emplace_back("Content-Range",
                         "bytes " + std::to_string(range.start) + "-" + last + "/" + size);
    return {206, std::move(headers), file.Slice(range.start, range.count)};
}

}  // namespace

Response PackageOperation::Handle(const Server::Request& request, const std::string& path) const {
    if (request.method != "GET" && request.method != "HEAD") {
        return Refuse(405, "packages can only be fetched", {{"Allow", "GET, HEAD"}});
    }
    if (path.empty()) {
        return {200,
                {{"Content-Type", "text/html; charset=utf-8"}, {"Cache-Control", "no-cache"}},
                FormatPackagePage(m_folder.List(), m_others)};
    }
    const std::optional<PackageFolder::Package> package = m_folder.Open(path);
    if (!package) {
        return Refuse(404, "there is no package of this name");
    }
    const std::string& tag = package->tag;
    if (HasCopy(request, tag)) {
        return {304, {{"ETag", tag}}, {}};
    }
    return Deliver(
        request, package->content,
        {{"Content-Type", "application/octet-stream"}, {"Accept-Ranges", "bytes"}, {"ETag", tag}},
        tag);
}

}  // namespace Service
