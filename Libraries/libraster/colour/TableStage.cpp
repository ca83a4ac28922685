#include "colour/TableStage.h"

#include "colour/Lcms.h"
#include "colour/MatrixStage.h"
#include "colour/StandardProfile.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Raster {

namespace {

using Stage = Kernel::Counted<const SpanStage>;

constexpr std::size_t MaximumSpanCount = 128;  // of pixels, as for stages

bool IsSRGB(const ICCProfile& profile) {
    return &profile == GetSRGB().Get();
}

/// Whether a profile is of grey by a curve, whose colours are neutral.
bool IsNeutral(const LcmsContext& context, const ICCProfile& profile) {
    const LcmsProfile opened = OpenLcmsProfile(context, profile.GetBytes());
    return profile.GetColourSpace() == ColourSpace::Grey &&
           !cmsIsTag(opened.get(), cmsSigAToB0Tag) && !cmsIsTag(opened.get(), cmsSigAToB1Tag);
}

void ApplyIf(const Stage& stage, float* rgba, std::size_t count) {
    if (stage) {
        stage->Apply(rgba, count);
    }
}

/// From encoded sRGB to its light.
Stage CreateLightStage(const LcmsContext& context) {
    return CreateMatrixStage(OpenLcmsProfile(context, GetSRGB()->GetBytes()),
                             OpenLinearSRGB(context));
}

Stage CreateEncodingStage(const LcmsContext& context) {
    return CreateMatrixStage(OpenLinearSRGB(context),
                             OpenLcmsProfile(context, GetSRGB()->GetBytes()));
}

class TableStage final : public SpanStage {
public:
    TableStage(const ICCProfile& from, const ICCProfile& to)
        : m_context(CreateLcmsContext()),
          m_before(IsSRGB(from) ? CreateLightStage(m_context) : nullptr),
          m_transform(CreateLcmsTransform(m_context, Open(from), Open(to))),
          m_after(IsSRGB(to) ? CreateEncodingStage(m_context) : nullptr),
          // Rounded colorants would tint greys in sRGB.
          m_isLevel(to.GetColourSpace() == ColourSpace::Grey ||
                    (IsSRGB(to) && IsNeutral(m_context, from))) {}

    bool IsPossible() const noexcept { return m_transform != nullptr; }

    void Apply(float* rgba, std::size_t count) const override {
        ApplyIf(m_before, rgba, count);
        cmsDoTransform(m_transform.get(), rgba, rgba, static_cast<cmsUInt32Number>(count));
        for (std::size_t i = 0; m_isLevel && i < count * 4; i += 4) {
            rgba[i + 1] = rgba[i + 2] = rgba[i];
        }
        ApplyIf(m_after, rgba, count);
    }

private:
    LcmsProfile Open(const ICCProfile& profile) const {
        return IsSRGB(profile) ? OpenLinearSRGB(m_context)
                               : OpenLcmsProfile(m_context, profile.GetBytes());
    }

    LcmsContext m_context;
    Stage m_before;
    LcmsTransform m_transform;
    Stage m_after;
    bool m_isLevel;  // red, green and blue are equal
};

/// Pixels of CMYKA8.
class InkCodec final : public SpanCodec {
public:
    InkCodec(const ICCProfile& profile, bool isForWriting)
        : m_context(CreateLcmsContext()),
          m_toLight(CreateLightStage(m_context)),
          m_fromLight(CreateEncodingStage(m_context)) {
        const LcmsProfile inks = OpenLcmsProfile(m_context, profile.GetBytes());
        const LcmsProfile light = OpenLinearSRGB(m_context);
        m_reading = CreateLcmsTransform(m_context, inks, light);
        m_writing = isForWriting ? CreateLcmsTransform(m_context, light, inks) : nullptr;
        m_isPossible = m_reading && (m_writing || !isForWriting);
    }

    bool IsPossible() const noexcept { return m_isPossible; }

    void Read(const void* source, float* rgba, std::size_t count) const override {
        const auto* const inks = static_cast<const unsigned char*>(source);
        for (std::size_t i = 0; i < count; ++i) {
            for (std::size_t ink = 0; ink < InkCount; ++ink) {
                rgba[i * 4 + ink] = static_cast<float>(inks[i * PixelSize + ink]) / ByteInPerCent;
            }
        }
        cmsDoTransform(m_reading.get(), rgba, rgba, static_cast<cmsUInt32Number>(count));
        for (std::size_t i = 0; i < count; ++i) {
            rgba[i * 4 + 3] = static_cast<float>(inks[i * PixelSize + InkCount]) / 255;
        }
        m_fromLight->Apply(rgba, count);
    }

    void Write(const float* rgba, void* destination, std::size_t count) const override {
        alignas(64) float pixels[MaximumSpanCount * 4];
        std::copy_n(rgba, count * 4, pixels);
        m_toLight->Apply(pixels, count);
        cmsDoTransform(m_writing.get(), pixels, pixels, static_cast<cmsUInt32Number>(count));
        auto* inks = static_cast<unsigned char*>(destination);
        for (std::size_t i = 0; i < count; ++i, inks += PixelSize) {
            const float* const colour = rgba + i * 4;
            for (std::size_t ink = 0; ink < InkCount; ++ink) {
                inks[ink] = ToByte(pixels[i * 4 + ink] * ByteInPerCent);
            }
            inks[InkCount] = ToByte(colour[3] * 255);
            if (std::all_of(colour, colour + 4, [](float value) { return value == 0; })) {
                std::fill_n(inks, PixelSize, 0);  // what is beyond a picture has no ink
            }
        }
    }

private:
    static constexpr std::size_t InkCount = 4;
    static constexpr std::size_t PixelSize = 5;
    static constexpr float ByteInPerCent = 2.55F;  // lcms2 counts inks from 0 to 100

    /// Not a number becomes 0.
    static unsigned char ToByte(float value) {
        return static_cast<unsigned char>(value > 0 ? std::min(value, 255.0F) + 0.5F : 0);
    }

    LcmsContext m_context;
    Stage m_toLight;
    Stage m_fromLight;
    LcmsTransform m_reading;
    LcmsTransform m_writing;
    bool m_isPossible = false;
};

}  // namespace

Stage CreateTableStage(const ICCProfile& from, const ICCProfile& to) {
    auto stage = Kernel::MakeCounted<const TableStage>(from, to);
    return stage->IsPossible() ? Stage(std::move(stage)) : nullptr;
}

Kernel::Counted<const SpanCodec> CreateInkCodec(const ICCProfile& profile, bool isForWriting) {
    using Codec = Kernel::Counted<const SpanCodec>;
    auto codec = Kernel::MakeCounted<const InkCodec>(profile, isForWriting);
    return codec->IsPossible() ? Codec(std::move(codec)) : nullptr;
}

}  // namespace Raster
