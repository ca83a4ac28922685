#include "Kernel/Diagnostics.h"
#include "OCIO/HostProcessor.h"
#include "Raster/Pipeline.h"
#include "Raster/PixelAccessor.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

namespace OCIO {
namespace {

constexpr std::string_view Config = R"(ocio_profile_version: 2
roles: {default: scene}
displays: {screen: [!<View> {name: plain, colorspace: scene}]}
colorspaces:
  - !<ColorSpace> {name: scene}
  - !<ColorSpace>
    name: squared
    to_scene_reference: !<ExponentTransform> {value: [2, 2, 2, 1]}
  - !<ColorSpace>
    name: swapped
    from_scene_reference: !<MatrixTransform>
      {matrix: [0, 0, 1, 0, 0, 1, 0, 0, 2, 0, 0, 0, 0, 0, 0, 1]}
)";

TEST(ProcessorStage, ConvertsBetweenSpacesOfTheConfiguration) {
    Kernel::String reason;
    const auto stage = ProcessorStage::CreateFromText(Config, "squared", "swapped", reason);
    ASSERT_TRUE(stage) << reason.c_str();
    alignas(64) std::array<float, 8> rgba{0.5f, 0.25f, 0.75f, 0.125f, 1, 0, 2, 1};
    stage->Apply(rgba.data(), 2);
    constexpr std::array<float, 8> Expected{0.5625f, 0.0625f, 0.5f, 0.125f, 4, 0, 2, 1};
    for (std::size_t i = 0; i < rgba.size(); ++i) {
        EXPECT_NEAR(rgba[i], Expected[i], 1e-4f) << i;
    }
    stage->Apply(rgba.data(), 0);

    Raster::DynamicBitmap red(300, 2, Raster::Format::RGBA8);
    {
        const Raster::PixelAccessor accessor(red);
        accessor.GetView().At(299, 1)[0] = accessor.GetView().At(299, 1)[3] = std::byte{255};
    }
    Raster::DynamicBitmap result(300, 2, Raster::Format::RGBA8);
    Raster::Rendering rendering;
    rendering.stages = {stage};
    using Run = Raster::Pipeline<Raster::DynamicBitmap, Raster::DynamicBitmap>;
    EXPECT_TRUE(Run::Run(result, red, nullptr, red.GetBounds(), rendering));
    const std::byte* const blue = result.GetHostView().At(299, 1);
    EXPECT_EQ((std::array{blue[0], blue[2], blue[3]}),
              (std::array{std::byte{0}, std::byte{255}, std::byte{255}}));
}

TEST(ProcessorStage, IsNullWithAReasonOtherwise) {
    const std::string text(Config);
    const std::array<std::string, 4> texts{"", "colorspaces: [", text.substr(0, 100), text};
    for (const std::string& broken : texts) {
        Kernel::String reason;
        EXPECT_FALSE(ProcessorStage::CreateFromText(broken, "squared", "nowhere", reason));
        EXPECT_FALSE(reason.empty()) << broken;
    }
    Kernel::String reason;
    const Kernel::String cut(std::string_view("scene\0x", 7));
    EXPECT_FALSE(ProcessorStage::CreateFromText(text, "squared", cut, reason));
    const Support::TestFolder folder;
    const std::string file = folder.Write("config", text);
    for (const std::string& path :
         {std::string("missing"), folder.At(""), file + std::string("\0x", 2)}) {
        EXPECT_FALSE(ProcessorStage::CreateFromFile(path, "squared", "scene", reason));
        EXPECT_NE(std::string_view(reason).find(path), std::string_view::npos);
    }
    EXPECT_TRUE(ProcessorStage::CreateFromFile(file, "squared", "scene", reason));
}

TEST(ProcessorStage, ReadsTheFilesBesideAConfiguration) {
    const Support::TestFolder folder;
    folder.Write("half α.spi1d",
                 "Version 1\nFrom 0.0 1.0\nLength 2\nComponents 1\n{\n0.0\n0.5\n}\n");
    const std::string file = folder.Write(
        "config", std::string(Config) +
                      "  - !<ColorSpace>\n    name: halved\n"
                      "    to_scene_reference: !<FileTransform> {src: half α.spi1d}\n");
    Kernel::String reason;
    const auto stage = ProcessorStage::CreateFromFile(file, "halved", "scene", reason);
    ASSERT_TRUE(stage) << reason.c_str();
    alignas(64) std::array<float, 4> rgba{0.5F, 1, 0, 1};
    stage->Apply(rgba.data(), 1);
    EXPECT_EQ(rgba, (std::array<float, 4>{0.25F, 0.5F, 0, 1}));
}

struct CountingSink : Kernel::DiagnosticSink {
    void Write(std::string_view /*text*/) override { ++count; }
    int count = 0;
};

TEST(ProcessorStage, ParsesAConfigurationOnce) {
    // OpenColorIO warns of what it does not know, whenever it parses.
    const std::string text = std::string(Config) + "  - !<ColorSpace> {name: odd, smell: sweet}\n";
    const Support::TestFolder folder;
    const Support::TestFolder other;
    const std::string file = folder.Write("config", text);
    const std::string twin = other.Write("config", text);
    const auto sink = Kernel::MakeCounted<CountingSink>();
    const auto previous = Kernel::Log::SetSink(sink);
    Kernel::String reason;
    const auto count = [&](const auto& create) {
        const int before = sink->count;
        EXPECT_TRUE(create("squared", "scene") && create("scene", "swapped")) << reason.c_str();
        return sink->count - before;
    };
    const auto fromFile = [&](const std::string& path) {
        return count([&](const char* from, const char* to) {
            return ProcessorStage::CreateFromFile(path, from, to, reason);
        });
    };
    EXPECT_EQ(count([&](const char* from, const char* to) {
                  return ProcessorStage::CreateFromText(text, from, to, reason);
              }),
              1);
    EXPECT_EQ(fromFile(file), 1);
    EXPECT_EQ(fromFile(twin), 1);  // where other files may stand beside it
    EXPECT_EQ(fromFile(file), 0);
    folder.Write("config", text + "  - !<ColorSpace> {name: new}\n");
    EXPECT_EQ(fromFile(file), 1);
    EXPECT_TRUE(ProcessorStage::CreateFromFile(file, "new", "squared", reason));
    Kernel::Log::SetSink(previous);
}

TEST(ProcessorStage, IsWhatAProcessorOfTheHostDoes) {
    namespace Engine = OCIO_NAMESPACE;
    const auto twice = Engine::MatrixTransform::Create();
    constexpr double Scale[16]{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1};
    twice->setMatrix(Scale);
    Kernel::String reason;
    const auto stage =
        CreateFromProcessor(Engine::Config::CreateRaw()->getProcessor(twice), reason);
    ASSERT_TRUE(stage) << reason.c_str();
    alignas(64) std::array<float, 4> rgba{0.25F, -0.5F, 3, 0.5F};
    stage->Apply(rgba.data(), 1);
    EXPECT_EQ(rgba, (std::array<float, 4>{0.5F, -1, 6, 0.5F}));
    EXPECT_FALSE(CreateFromProcessor(nullptr, reason));
    EXPECT_EQ(reason, "there is no processor");
}

}  // namespace
}  // namespace OCIO
