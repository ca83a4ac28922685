// Finding what a picture is of by networks.

#pragma once

#include "Learning/ModelCache.h"

#include "drawing/Picture.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Service {

/// Uses the segmentation networks, once they are installed. Threads: any.
class Segmenter {
public:
    /// `folder`: where `learning` installs networks; empty for none.
    explicit Segmenter(const std::string& folder);

    /// As FindForeground(): the thing in the middle of the picture, or of what FindForeground()
    /// finds, whichever is more like what a picture is of. Nothing if the networks are not there,
    /// do not run, for which the library logs the reason, or find next to nothing or next to all.
    std::optional<std::vector<std::uint8_t>> Find(const Picture& picture);

private:
    bool IsInstalled() const;

    const bool m_hasFolder;
    Learning::ModelCache m_models;
};

}  // namespace Service
