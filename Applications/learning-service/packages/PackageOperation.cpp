#include "packages/PackageOperation.h"

#include "packages/ByteRange.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <system_error>

namespace Service {

namespace {

constexpr int ReadOnly = O_RDONLY | O_CLOEXEC;

bool IsPlainName(const std::string& name) {
    return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos;
}

/// A file of the folder; not open if there is no such file, or if it is none to be shown.
Server::FileDescriptor OpenPackage(const Server::FileDescriptor& folder, const std::string& name,
                                   struct stat& status) {
    if (!IsPlainName(name)) {
        return {};
    }
    // A pipe that is opened without O_NONBLOCK waits for a writer.
    Server::FileDescriptor file(
        openat(folder.Get(), name.c_str(), ReadOnly | O_NOFOLLOW | O_NONBLOCK));
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    return file;
}

/// Changes whenever the file is written or replaced, as far as the file system's clock can tell.
std::string MakeTag(const struct stat& status) {
    std::array<char, 80> tag;
    std::snprintf(tag.data(), tag.size(), "\"%" PRIxMAX "-%" PRIxMAX "-%" PRIxMAX ".%lx\"",
                  static_cast<std::uintmax_t>(status.st_ino),
                  static_cast<std::uintmax_t>(status.st_size),
                  static_cast<std::uintmax_t>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec);
    return tag.data();
}

/// Whether the list of tags in If-None-Match names `tag`. Our tags hold no commas.
bool NamesTag(std::string_view list, std::string_view tag) {
    while (!list.empty()) {
        std::string_view item = list.substr(0, list.find(','));
        list.remove_prefix(std::min(list.size(), item.size() + 1));
        item.remove_prefix(std::min(item.find_first_not_of(" \t"), item.size()));
        if (item.starts_with("W/")) {
            item.remove_prefix(2);
        }
        item = item.substr(0, item.find_last_not_of(" \t") + 1);
        if (item == tag || item == "*") {
            return true;
        }
    }
    return false;
}

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

PackageOperation::PackageOperation(const std::string& folder)
    : m_folder(open(folder.c_str(), ReadOnly | O_DIRECTORY)) {
    if (!m_folder.IsOpen()) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot open the folder of the packages, " + folder);
    }
}

Response PackageOperation::Handle(const Server::Request& request, const std::string& path) const {
    if (request.method != "GET" && request.method != "HEAD") {
        return Refuse(405, "packages can only be fetched", {{"Allow", "GET, HEAD"}});
    }
    struct stat status {};
    Server::FileDescriptor file = OpenPackage(m_folder, path, status);
    if (!file.IsOpen()) {
        return Refuse(404, "there is no package of this name");
    }
    const std::string tag = MakeTag(status);
    const std::string* const known = Server::FindHeader(request.headers, "If-None-Match");
    if (known != nullptr && NamesTag(*known, tag)) {
        return {304, {{"ETag", tag}}, {}};
    }
    return Deliver(
        request, Server::Content::OfFile(std::move(file)),
        {{"Content-Type", "application/octet-stream"}, {"Accept-Ranges", "bytes"}, {"ETag", tag}},
        tag);
}

}  // namespace Service
