#include "codecs/JPEGSegments.h"

#include <algorithm>
#include <string_view>

namespace Raster {

namespace {

using std::string_view_literals::operator""sv;

bool StartsWith(std::span<const std::byte> segment, std::string_view name) noexcept {
    return segment.size() >= name.size() &&
           std::ranges::equal(segment.first(name.size()), std::as_bytes(std::span(name)));
}

}  // namespace

void JPEGSegments::AddApp1(std::span<const std::byte> segment) {
    constexpr std::string_view Name = "Exif\0\0"sv;
    if (!m_hasExif && StartsWith(segment, Name)) {
        m_hasExif = true;
        m_orientation = FindOrientation(segment.subspan(Name.size()));
    }
}

void JPEGSegments::AddApp2(std::span<const std::byte> segment) {
    constexpr std::string_view Name = "ICC_PROFILE\0"sv;
    constexpr std::size_t HeadSize = Name.size() + 2;
    if (!StartsWith(segment, Name) || segment.size() <= HeadSize || m_isProfileDamaged) {
        return;
    }
    const auto number = std::to_integer<std::size_t>(segment[Name.size()]);  // from 1
    const auto count = std::to_integer<std::size_t>(segment[Name.size() + 1]);
    if (m_pieces.empty()) {
        m_pieces.resize(count);
    }
    // Duplicates are refused, so at most 255 segments are kept, which bounds the memory.
    m_isProfileDamaged =
        m_pieces.size() != count || number < 1 || number > count || !m_pieces[number - 1].empty();
    if (!m_isProfileDamaged) {
        const std::span<const std::byte> data = segment.subspan(HeadSize);
        m_pieces[number - 1].assign(data.begin(), data.end());
    }
}

Kernel::Consolidated<ICCProfile> JPEGSegments::MakeProfile() const {
    std::vector<std::byte> bytes;
    for (const std::vector<std::byte>& piece : m_pieces) {
        if (piece.empty() || m_isProfileDamaged) {
            return {};
        }
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    return ICCProfile::CreateFromBytes(bytes);
}

}  // namespace Raster
