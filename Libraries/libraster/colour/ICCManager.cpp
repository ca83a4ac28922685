#include "Raster/ICCManager.h"

#include "Kernel/CriticalSection.h"
#include "Kernel/NeverDestroyed.h"

#include "colour/Lcms.h"
#include "colour/MatrixStage.h"
#include "colour/StandardProfile.h"
#include "colour/TableStage.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Raster {

namespace {

using Profile = Kernel::Consolidated<ICCProfile>;
using Stage = Kernel::Counted<const SpanStage>;
using Codec = Kernel::Counted<const SpanCodec>;
using Answer = ColourConversion::Answer;

/// Null if there is none.
Stage BuildStage(const ICCProfile& from, const ICCProfile& to) {
    const LcmsContext context = CreateLcmsContext();
    if (Stage stage = CreateMatrixStage(OpenLcmsProfile(context, from.GetBytes()),
                                        OpenLcmsProfile(context, to.GetBytes()))) {
        return stage;
    }
    return CreateTableStage(from, to);
}

Codec BuildReader(const ICCProfile& from, const ICCProfile& /*to*/) {
    return CreateInkCodec(from, false);
}
Codec BuildWriter(const ICCProfile& /*from*/, const ICCProfile& to) {
    return CreateInkCodec(to, true);
}

/// An LRU cache of parts of conversions, since building one takes milliseconds and pictures come in
/// series.
template <class Part, Part (*Build)(const ICCProfile&, const ICCProfile&)>
class PartCache {
public:
    static Part Find(const Profile& from, const Profile& to) {
        static Kernel::NeverDestroyed<PartCache> cache;
        return cache->Get(from, to);
    }

private:
    /// Holds the lock while building: concurrent callers likely need the same conversion.
    Part Get(const Profile& from, const Profile& to) {
        const Kernel::ScopedLock lock(m_section);
        const auto found = std::ranges::find_if(m_entries, [&from, &to](const Entry& entry) {
            return entry.from == from && entry.to == to;
        });
        if (found != m_entries.end()) {
            std::rotate(m_entries.begin(), found, found + 1);
        } else {
            m_entries.insert(m_entries.begin(), {from, to, Build(*from, *to)});
            m_entries.resize(std::min(m_entries.size(), Capacity));
        }
        return m_entries.front().part;
    }

    static constexpr std::size_t Capacity = 8;

    struct Entry {
        Profile from;
        Profile to;
        Part part;
    };

    Kernel::CriticalSection m_section;
    std::vector<Entry> m_entries;  // the latest first
};

bool HasColours(Format format) noexcept {
    return format != Format::Alpha8 && format != Format::Alpha16 && format != Format::AlphaF;
}

/// The profile of a bitmap's colours: that of the bitmap, except for Lab.
const Profile& FindColours(Format format, const Profile& profile) {
    return format == Format::LabA16 ? GetSRGB() : profile;
}

bool IsMisfit(const Profile& profile, Format format) {
    return profile && !ICCManager::IsFitting(*profile, format);
}

bool HasInks(const Profile& profile) {
    return profile->GetColourSpace() == ColourSpace::CMYK;
}

/// The conversion between two profiles that differ.
ColourConversion FindParts(const Profile& from, const Profile& to) {
    ColourConversion result{Answer::Stages};
    // Inks are read as sRGB, and written from it.
    const Profile& source = HasInks(from) ? GetSRGB() : from;
    const Profile& destination = HasInks(to) ? GetSRGB() : to;
    bool isPossible = true;
    if (HasInks(from)) {
        result.reader = PartCache<Codec, BuildReader>::Find(from, GetSRGB());
        isPossible = isPossible && result.reader;
    }
    if (!source->HasColoursOf(*destination)) {
        result.stage = PartCache<Stage, BuildStage>::Find(source, destination);
        isPossible = isPossible && result.stage;
    }
    if (HasInks(to)) {
        result.writer = PartCache<Codec, BuildWriter>::Find(GetSRGB(), to);
        isPossible = isPossible && result.writer;
    }
    return isPossible ? result : ColourConversion{Answer::Impossible};
}

}  // namespace

Profile ICCManager::ICCProfileSet::GetProfileForFormat(Format format) const {
    const auto found = m_profiles.find(format);
    return found != m_profiles.end() ? found->second : Profile();
}

void ICCManager::ICCProfileSet::SetProfileForFormat(Format format, Profile profile) {
    m_profiles.insert_or_assign(format, std::move(profile));
}

Profile ICCManager::GetProfileForString(const Kernel::String& name) {
    return name == StandardProfileName ? GetSRGB() : Profile();
}

bool ICCManager::IsFitting(const ICCProfile& profile, Format format) noexcept {
    const ColourSpace space = profile.GetColourSpace();
    switch (format) {
        case Format::GreyA8:
        case Format::GreyA16:
            return space == ColourSpace::Grey || space == ColourSpace::RGB;
        case Format::CMYKA8:
            return space == ColourSpace::CMYK;
        case Format::LabA16:
            return space == ColourSpace::Lab;
        default:
            return HasColours(format) && space == ColourSpace::RGB;
    }
}

ColourConversion ICCManager::CreateConversion(Format fromFormat, const Profile& from,
                                              Format toFormat, const Profile& to) {
    if (!HasColours(fromFormat) || !HasColours(toFormat)) {
        return {};
    }
    if (IsMisfit(from, fromFormat) || IsMisfit(to, toFormat)) {
        return {Answer::Impossible};
    }
    const Profile& source = FindColours(fromFormat, from);
    const Profile& destination = FindColours(toFormat, to);
    if (!source || !destination || source->HasColoursOf(*destination)) {
        return {};
    }
    return FindParts(source, destination);
}

}  // namespace Raster
