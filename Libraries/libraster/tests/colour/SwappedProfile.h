// A profile whose colours can't be mistaken.

#pragma once

#include "Raster/ICCManager.h"

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace Raster::Testing {

/// sRGB with the lights of red and green exchanged; `size` bytes, padded with zeros, unless that is
/// 0.
inline Kernel::Consolidated<ICCProfile> MakeSwappedProfile(std::size_t size = 0) {
    const auto sRGB = ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    std::vector<std::byte> bytes(sRGB->GetBytes().begin(), sRGB->GetBytes().end());
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::swap(bytes[text.find("rXYZ")], bytes[text.find("gXYZ")]);
    for (std::size_t i = 0; i < 4 && size != 0; ++i) {
        bytes[i] = static_cast<std::byte>(size >> (8 * (3 - i)));
    }
    bytes.resize(size != 0 ? size : bytes.size());
    return ICCProfile::CreateFromBytes(bytes);
}

}  // namespace Raster::Testing
