#include "service/RequestText.h"

#include "Kernel/Base64.h"
#include "Kernel/Format.h"
#include "Kernel/Json.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/Utf.h"
#include "Network/Digest.h"
#include "Raster/DynamicFile.h"

#include "json/Json.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <string_view>

namespace LearningApp {

namespace {

using namespace std::string_view_literals;

/// The members that a file of credentials can set.
constexpr std::array Credentials{"mirel_api_url"sv, "mirel_access_token"sv, "mirel_user_id"sv,
                                 "custom_bearer"sv};

constexpr std::pair<std::string_view, const char*> PictureKinds[] = {
    {"\xFF\xD8\xFF"sv, "JPEG"}, {"\x89PNG\r\n\x1A\n"sv, "PNG"}};

/// "214,332".
std::string GroupDigits(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3;) {
        place -= 3;
        text.insert(place, 1, ',');
    }
    return text;
}

/// "1536 x 1152, " for a picture.
std::string DescribeSides(std::string_view file) {
    const auto bytes = std::as_bytes(std::span(file));
    Kernel::MemoryInOutStream stream({bytes.begin(), bytes.end()});
    Raster::DynamicFile picture;
    return picture.CreateFromStream(stream) ? std::to_string(picture.GetWidth()) + " x " +
                                                  std::to_string(picture.GetHeight()) + ", "
                                            : std::string();
}

/// "JPEG, 1536 x 1152, 214,332 bytes, sha256 ..."; nothing for what is no picture.
std::optional<std::string> DescribePicture(std::string_view file) {
    const auto* const kind = std::ranges::find_if(
        PictureKinds, [file](const auto& entry) { return file.starts_with(entry.first); });
    if (kind == std::end(PictureKinds)) {
        return std::nullopt;
    }
    return std::string(kind->second) + ", " + DescribeSides(file) + GroupDigits(file.size()) +
           " bytes, sha256 " + std::string(std::string_view(Network::ComputeSha256(file)));
}

std::string DescribeText(std::string_view key, std::string_view text) {
    if (!text.empty() && std::ranges::find(Credentials, key) != Credentials.end()) {
        return "<hidden>";
    }
    const std::optional<std::string> file = Kernel::DecodeBase64(text);
    const std::optional<std::string> picture = file ? DescribePicture(*file) : std::nullopt;
    return picture ? "<base64 of " + *picture + ">" : QuoteJson(text);
}

std::string DescribeMember(const Kernel::String& key, const Kernel::Json::Value& value) {
    const auto* const text = value.get_ptr<const Kernel::String*>();
    return "  " + QuoteJson(key) + ": " +
           (text != nullptr ? DescribeText(key, *text)
                            : std::string(std::string_view(Kernel::Json::ToString(value))));
}

std::string DescribeJson(const Kernel::Json::Value& object) {
    std::string text;
    for (const auto& [key, value] : object.items()) {
        text += text.empty() ? "{\n" : ",\n";
        text += DescribeMember(key, value);
    }
    return text + "\n}\n";
}

std::string DescribeFile(std::string_view file) {
    const std::string text = DescribePicture(file).value_or(GroupDigits(file.size()) + " bytes");
    return "<" + text + ">\n";
}

}  // namespace

std::string DescribeRequest(const Learning::RemoteRequest& request) {
    const bool isPlaced = !request.address.empty();
    std::string text(std::string_view(Kernel::Format(
        "%1 %2\n", request.method,
        isPlaced ? request.address : Kernel::String("to the address that the answer names"))));
    for (const auto& [name, value] : request.headers) {
        text += std::string_view(Kernel::Format("%1: %2\n", name, value));
    }
    if (request.size > 0) {
        text += "Content-Length: " + std::to_string(request.size) + "\n\n";
    }
    if (request.json != nullptr) {
        text += DescribeJson(*request.json);
    } else if (!request.file.empty()) {
        text +=
            DescribeFile({reinterpret_cast<const char*>(request.file.data()), request.file.size()});
    }
    return request.next != nullptr ? text + '\n' + DescribeRequest(*request.next) : text;
}

}  // namespace LearningApp
