#include "files/PictureKinds.h"

#include <algorithm>
#include <iterator>

namespace LearningApp {

namespace {

using namespace std::string_view_literals;

struct Kind {
    std::size_t offset;
    std::string_view signature;
    const char* name;
};

// As libmagic's tables have them.
constexpr Kind Kinds[]{
    {0, "GIF8"sv, "a GIF picture"},       {4, "ftypavif"sv, "an AVIF picture"},
    {4, "ftyphei"sv, "a HEIC picture"},   {4, "ftyphevc"sv, "a HEIC picture"},
    {4, "ftypmif1"sv, "a HEIC picture"},  {0, "BM"sv, "a BMP picture"},
    {0, "8BPS"sv, "a Photoshop picture"}, {0, "\xFF\x0A"sv, "a JPEG XL picture"},
    {4, "JXL "sv, "a JPEG XL picture"},   {4, "jP  "sv, "a JPEG 2000 picture"},
    {0, "%PDF"sv, "a PDF document"},
};

}  // namespace

const char* FindPictureKind(std::string_view start) noexcept {
    const auto* const found = std::ranges::find_if(Kinds, [start](const Kind& kind) {
        return start.size() > kind.offset && start.substr(kind.offset).starts_with(kind.signature);
    });
    if (found != std::end(Kinds)) {
        return found->name;
    }
    return start.find("<svg") != std::string_view::npos ? "an SVG drawing" : nullptr;
}

}  // namespace LearningApp
