#include "Raster/CodecException.h"
#include "Raster/DynamicFile.h"

#include "codecs/SystemLibrary.h"
#include "tests/codecs/ForgedFiles.h"
#include "tests/colour/SwappedProfile.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace Raster::Testing {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(WebP, HasAProfileIfItIsOne) {
    const auto profile = MakeSwappedProfile();
    const auto bytes = profile->GetBytes();
    const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    for (const bool isCut : {false, true}) {
        const std::string chunk = MakeWebPChunk("ICCP", isCut ? text.substr(0, 200) : text);
        FrailStream stream(ExtendWebP(GetSample("WebPLossless"), chunk, "", 0x20));
        EXPECT_EQ(ReadPicture(stream)->GetProfile() == profile, !isCut);
    }
}

TEST(WebP, IsRefusedWithAReason) {
    const std::string image = GetSample("WebPLossless").substr(12);
    const std::string frame("\0\0\0\0\0\0\xC\0\0\x12\0\0\0\0\0\0", 16);
    const std::string animation = ExtendWebP(MakeWebP(MakeWebPChunk("ANMF", frame + image)),
                                             MakeWebPChunk("ANIM", "\0\0\0\0\0\0"s), "", 2);
    std::string large = GetSample("WebPLossless");
    large.replace(4, 4, "\0\0\0\x50"s);
    std::string longer = GetSample("WebPLossless");
    longer[4] = static_cast<char>(longer[4] + 2);
    std::string wide = ExtendWebP(GetSample("WebPLossless"), "", "", 0x10);
    wide[24] = 99;  // of the canvas, not of the pixels
    std::string vast = wide.replace(24, 6, "\xFF\xFF\0\xFF\xFF\0"s);
    EXPECT_THAT(GetReasonOfRefusal(animation), HasSubstr("is an animation"));
    EXPECT_THAT(GetReasonOfRefusal(large), HasSubstr("at most 1073741824 bytes"));
    EXPECT_THAT(GetReasonOfRefusal(longer), HasSubstr("ends too early"));
    EXPECT_THAT(GetReasonOfRefusal(wide), HasSubstr("WebP"));
    EXPECT_THAT(GetReasonOfRefusal(vast), HasSubstr("WebP"));
    EXPECT_EQ(GetReasonOfRefusal(GetSample("WebPLossless") + "what follows"), "none");
}

TEST(SystemLibrary, IsNamedWhenItIsMissingOrLacksAFunction) {
    try {
        SystemLibrary("WebP", "nothing", 7);
        FAIL();
    } catch (const CodecException& exception) {
        EXPECT_THAT(exception.what(), StartsWith("WebP pictures can't be read without the library "
                                                 "libnothing."));
    }
    void (*function)() = nullptr;
    EXPECT_THROW(SystemLibrary("WebP", "webp", 7).Find("WebPNothing", function), CodecException);
}

}  // namespace
}  // namespace Raster::Testing
