#include "Raster/ICCProfile.h"

#include "Kernel/Utf.h"

#include "colour/Lcms.h"

#include <lcms2_plugin.h>

#include <algorithm>
#include <new>
#include <optional>
#include <string>
#include <utility>

template Kernel::Counted<const Raster::ICCProfile> Kernel::Consolidated<Raster::ICCProfile>::Find(
    const Kernel::Counted<Raster::ICCProfile>& value);

namespace Raster {

namespace {

// Offsets and sizes of the profile format, ICC.1:2022, 7.2 and 7.3.
constexpr std::size_t HeaderSize = 128;
constexpr std::size_t TagCountSize = 4;
constexpr std::size_t TagEntrySize = 12;
constexpr std::size_t MaximumTagCount = 100;  // that of lcms2; profiles have about 20

std::size_t ReadUInt32(std::span<const std::byte> bytes, std::size_t offset) {
    std::size_t value = 0;
    for (const std::byte byte : bytes.subspan(offset, 4)) {
        value = value << 8 | std::to_integer<std::size_t>(byte);
    }
    return value;
}

/// The bytes up to the size in the header; empty if they are truncated, or the tag table points
/// beyond them.
std::span<const std::byte> FindProfile(std::span<const std::byte> bytes) {
    if (bytes.size() < HeaderSize + TagCountSize || bytes.size() > ICCProfile::MaximumSize) {
        return {};
    }
    const std::size_t size = ReadUInt32(bytes, 0);
    const std::size_t tagCount = ReadUInt32(bytes, HeaderSize);
    const std::size_t tableEnd = HeaderSize + TagCountSize + tagCount * TagEntrySize;
    if (tagCount > MaximumTagCount || size < tableEnd || size > bytes.size()) {
        return {};
    }
    for (std::size_t entry = HeaderSize + TagCountSize; entry < tableEnd; entry += TagEntrySize) {
        const std::size_t offset = ReadUInt32(bytes, entry + 4);
        if (offset > size || ReadUInt32(bytes, entry + 8) > size - offset) {
            return {};
        }
    }
    return bytes.first(size);
}

ICCProfile::Identity ComputeIdentity(const LcmsContext& context, std::span<const std::byte> bytes) {
    const cmsHANDLE sum = cmsMD5alloc(context.get());
    if (sum == nullptr) {
        throw std::bad_alloc();
    }
    cmsMD5add(sum, reinterpret_cast<const cmsUInt8Number*>(bytes.data()),
              static_cast<cmsUInt32Number>(bytes.size()));
    cmsProfileID id{};
    cmsMD5finish(&id, sum);
    ICCProfile::Identity identity{};
    std::ranges::copy(std::as_bytes(std::span(id.ID8)), identity.begin());
    return identity;
}

/// The header without what the ID of a profile leaves out: flags, rendering intent and the ID
/// itself, ICC.1:2022, 7.2.18.
std::array<std::byte, HeaderSize> CopyHeader(std::span<const std::byte> bytes) {
    std::array<std::byte, HeaderSize> header{};
    std::copy_n(bytes.begin(), HeaderSize, header.begin());
    for (const auto& [offset, size] : {std::pair{44, 4}, {64, 4}, {84, 16}}) {
        std::fill_n(header.begin() + offset, size, std::byte{});
    }
    return header;
}

std::optional<ColourSpace> FindColourSpace(const LcmsProfile& profile) {
    switch (cmsGetDeviceClass(profile.get())) {
        case cmsSigInputClass:
        case cmsSigDisplayClass:
        case cmsSigOutputClass:
        case cmsSigColorSpaceClass:
            break;
        default:
            return std::nullopt;
    }
    switch (cmsGetColorSpace(profile.get())) {
        case cmsSigRgbData:
            return ColourSpace::RGB;
        case cmsSigGrayData:
            return ColourSpace::Grey;
        case cmsSigCmykData:
            return ColourSpace::CMYK;
        case cmsSigLabData:
            return ColourSpace::Lab;
        default:
            return std::nullopt;
    }
}

/// Whether there is a transform from device values to Lab. Tags are read here for the first time.
bool IsUsable(const LcmsContext& context, const LcmsProfile& profile) {
    const LcmsProfile lab(cmsCreateLab4ProfileTHR(context.get(), nullptr));
    const cmsUInt32Number format = cmsFormatterForColorspaceOfProfile(profile.get(), 4, TRUE);
    return LcmsTransform(cmsCreateTransformTHR(context.get(), profile.get(), format, lab.get(),
                                               TYPE_Lab_FLT, INTENT_RELATIVE_COLORIMETRIC,
                                               cmsFLAGS_NOCACHE)) != nullptr;
}

Kernel::String ReadDescription(const LcmsProfile& profile) {
    const auto read = [&profile](wchar_t* buffer, std::size_t size) {
        return cmsGetProfileInfo(profile.get(), cmsInfoDescription, "en", "US", buffer,
                                 static_cast<cmsUInt32Number>(size));
    };
    std::wstring units(read(nullptr, 0) / sizeof(wchar_t), L'\0');
    read(units.data(), units.size() * sizeof(wchar_t));
    // lcms2 puts one UTF-16 code unit into each wchar_t, whatever its size.
    std::u16string text;
    for (const wchar_t unit : units) {
        if (unit == L'\0') {
            break;
        }
        text.push_back(static_cast<char16_t>(unit));
    }
    return Kernel::FromUtf16(text);
}

}  // namespace

ICCProfile::ICCProfile(std::vector<std::byte> bytes, const Identity& identity,
                       ColourSpace colourSpace, Kernel::String description)
    : m_bytes(std::move(bytes)),
      m_identity(identity),
      m_colourSpace(colourSpace),
      m_description(std::move(description)) {}

ICCProfile::~ICCProfile() = default;

bool ICCProfile::HasColoursOf(const ICCProfile& other) const noexcept {
    return this == &other || (CopyHeader(m_bytes) == CopyHeader(other.m_bytes) &&
                              std::ranges::equal(std::span(m_bytes).subspan(HeaderSize),
                                                 std::span(other.m_bytes).subspan(HeaderSize)));
}

Kernel::Consolidated<ICCProfile> ICCProfile::CreateFromBytes(std::span<const std::byte> bytes) {
    const std::span<const std::byte> own = FindProfile(bytes);
    if (own.empty()) {
        return {};
    }
    const LcmsContext context = CreateLcmsContext();
    const LcmsProfile profile = OpenLcmsProfile(context, own);
    const std::optional<ColourSpace> space = profile ? FindColourSpace(profile) : std::nullopt;
    if (!space || !IsUsable(context, profile)) {
        return {};
    }
    return Kernel::Consolidated<ICCProfile>(Kernel::MakeCounted<ICCProfile>(
        std::vector<std::byte>(own.begin(), own.end()), ComputeIdentity(context, own), *space,
        ReadDescription(profile)));
}

}  // namespace Raster
