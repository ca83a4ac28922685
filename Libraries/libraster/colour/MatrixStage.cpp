#include "colour/MatrixStage.h"

#include "colour/MatrixKernel.h"

#include <lcms2_plugin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Raster {

namespace {

using Tables = std::array<std::shared_ptr<const ToneTable>, 3>;

class MatrixStage final : public SpanStage {
public:
    MatrixStage(Tables decoding, const std::array<std::array<float, 3>, 3>& matrix, Tables encoding,
                std::unique_ptr<const ByteConversion> bytes)
        : m_decoding(std::move(decoding)),
          m_encoding(std::move(encoding)),
          m_conversion{Borrow(m_decoding), matrix, Borrow(m_encoding)},
          m_bytes(std::move(bytes)) {}

    void Apply(float* rgba, std::size_t count) const override {
        RunMatrixConversion(m_conversion, rgba, count);
    }

    bool HasByteWay() const noexcept override { return m_bytes != nullptr; }

    void ConvertBytes(const std::byte* source, std::byte* target,
                      std::size_t count) const override {
        RunByteConversion(*m_bytes, source, target, count);
    }

private:
    static std::array<const ToneTable*, 3> Borrow(const Tables& tables) {
        return {tables[0].get(), tables[1].get(), tables[2].get()};
    }

    Tables m_decoding;
    Tables m_encoding;
    MatrixConversion m_conversion;
    std::unique_ptr<const ByteConversion> m_bytes;  // null if there is none
};

bool IsGrey(const LcmsProfile& profile) {
    return cmsGetColorSpace(profile.get()) == cmsSigGrayData;
}

/// Whether this is a matrix/TRC profile or one of grey by a curve, without look-up tables, which
/// would take precedence.
bool IsPlain(const LcmsProfile& profile) {
    for (const cmsTagSignature table :
         {cmsSigAToB0Tag, cmsSigAToB1Tag, cmsSigBToA0Tag, cmsSigBToA1Tag}) {
        if (cmsIsTag(profile.get(), table)) {
            return false;
        }
    }
    const bool isColour =
        cmsGetColorSpace(profile.get()) == cmsSigRgbData && cmsIsMatrixShaper(profile.get());
    return cmsGetPCS(profile.get()) == cmsSigXYZData && (isColour || IsGrey(profile));
}

/// The colorants (XYZ of the primaries), in columns.
std::optional<cmsMAT3> ReadMatrix(const LcmsProfile& profile) {
    cmsMAT3 matrix{};
    std::size_t column = 0;
    for (const cmsTagSignature tag :
         {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag}) {
        const auto* const colour = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile.get(), tag));
        if (colour == nullptr) {
            return std::nullopt;
        }
        matrix.v[0].n[column] = colour->X;
        matrix.v[1].n[column] = colour->Y;
        matrix.v[2].n[column] = colour->Z;
        ++column;
    }
    return matrix;
}

/// From linear values of a profile to XYZ. A grey value comes as three, of which one counts.
std::optional<cmsMAT3> FindMatrixToXYZ(const LcmsProfile& profile) {
    if (!IsGrey(profile)) {
        return ReadMatrix(profile);
    }
    const cmsCIEXYZ& white = *cmsD50_XYZ();
    cmsMAT3 matrix{};
    matrix.v[0].n[0] = white.X;
    matrix.v[1].n[0] = white.Y;
    matrix.v[2].n[0] = white.Z;
    return matrix;
}

/// The other way. A grey value, Y, goes into all three.
std::optional<cmsMAT3> FindMatrixFromXYZ(const LcmsProfile& profile) {
    cmsMAT3 inverse{};
    if (IsGrey(profile)) {
        for (cmsVEC3& row : inverse.v) {
            row.n[1] = 1 / cmsD50_XYZ()->Y;
        }
        return inverse;
    }
    const std::optional<cmsMAT3> matrix = ReadMatrix(profile);
    return matrix && _cmsMAT3inverse(&*matrix, &inverse) ? std::optional(inverse) : std::nullopt;
}

/// The white of grey becomes that of colours. Colorants are rounded: they would tint all greys.
void KeepNeutral(std::array<std::array<float, 3>, 3>& matrix) {
    constexpr float Rounding = 0.001F;
    const auto isWhite = [](const auto& row) { return std::abs(row[0] - 1) < Rounding; };
    if (std::ranges::all_of(matrix, isWhite)) {
        matrix.fill({1, 0, 0});
    }
}

/// From linear values of one profile to those of another.
std::optional<std::array<std::array<float, 3>, 3>> FindMatrix(const LcmsProfile& from,
                                                              const LcmsProfile& to) {
    const std::optional<cmsMAT3> source = FindMatrixToXYZ(from);
    const std::optional<cmsMAT3> destination = FindMatrixFromXYZ(to);
    if (!source || !destination) {
        return std::nullopt;
    }
    cmsMAT3 product{};
    _cmsMAT3per(&product, &*destination, &*source);
    std::array<std::array<float, 3>, 3> matrix{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            matrix[row][column] = static_cast<float>(product.v[row].n[column]);
        }
    }
    if (IsGrey(from)) {
        KeepNeutral(matrix);
    }
    return matrix;
}

std::array<cmsTagSignature, 3> GetCurveTags(const LcmsProfile& profile) {
    if (IsGrey(profile)) {
        return {cmsSigGrayTRCTag, cmsSigGrayTRCTag, cmsSigGrayTRCTag};
    }
    return {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
}

/// The tables of a profile's tone curves, shared by equal ones; empty if one can't be made.
std::optional<Tables> MakeTables(const LcmsProfile& profile,
                                 std::optional<ToneTable> (ToneCurve::*make)() const) {
    Tables tables;
    std::vector<ToneCurve> curves;
    for (const cmsTagSignature tag : GetCurveTags(profile)) {
        const auto* const read = static_cast<const cmsToneCurve*>(cmsReadTag(profile.get(), tag));
        if (read == nullptr) {
            return std::nullopt;
        }
        const std::size_t channel = curves.size();
        const ToneCurve& curve = curves.emplace_back(*read);
        if (channel > 0 && curve == curves[channel - 1]) {
            tables[channel] = tables[channel - 1];
        } else if (std::optional<ToneTable> table = (curve.*make)()) {
            tables[channel] = std::make_shared<const ToneTable>(std::move(*table));
        } else {
            return std::nullopt;
        }
    }
    return tables;
}

/// Sets the cubics of a profile's tone curves; false if one can't be made.
template <class Cubics>
bool FitCurves(const LcmsProfile& profile, std::optional<Cubics> (*fit)(const ToneCurve&),
               std::array<Cubics, 3>& cubics) {
    auto* place = cubics.begin();
    for (const cmsTagSignature tag : GetCurveTags(profile)) {
        const ToneCurve curve(*static_cast<const cmsToneCurve*>(cmsReadTag(profile.get(), tag)));
        const std::optional<Cubics> fitting = fit(curve);
        if (!fitting) {
            return false;
        }
        *place++ = *fitting;
    }
    return true;
}

template <class Cubics>
bool AreEqual(const std::array<Cubics, 3>& curves) {
    return curves[0].coefficients == curves[1].coefficients &&
           curves[1].coefficients == curves[2].coefficients;
}

/// Null if the curves are not those of a display.
std::unique_ptr<const ByteConversion> MakeByteConversion(
    const LcmsProfile& from, const std::array<std::array<float, 3>, 3>& matrix,
    const LcmsProfile& to) {
    auto bytes = std::make_unique<ByteConversion>();
    bytes->matrix = matrix;
    const bool isPossible = std::endian::native == std::endian::little &&
                            FitCurves(from, FitDecoding, bytes->decoding) &&
                            FitCurves(to, FitEncoding, bytes->encoding);
    bytes->areCurvesEqual = AreEqual(bytes->decoding) && AreEqual(bytes->encoding);
    return isPossible ? std::move(bytes) : nullptr;
}

}  // namespace

Kernel::Counted<const SpanStage> CreateMatrixStage(const LcmsProfile& from, const LcmsProfile& to) {
    if (!IsPlain(from) || !IsPlain(to)) {
        return nullptr;
    }
    const auto matrix = FindMatrix(from, to);
    std::optional<Tables> decoding = MakeTables(from, &ToneCurve::MakeDecodingTable);
    std::optional<Tables> encoding = MakeTables(to, &ToneCurve::MakeEncodingTable);
    if (!matrix || !decoding || !encoding) {
        return nullptr;
    }
    return Kernel::MakeCounted<const MatrixStage>(
        std::move(*decoding), *matrix, std::move(*encoding), MakeByteConversion(from, *matrix, to));
}

}  // namespace Raster
