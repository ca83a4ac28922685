#include "Raster/ICCManager.h"

#include "Kernel/CriticalSection.h"
#include "Kernel/NeverDestroyed.h"

#include "colour/Lcms.h"
#include "colour/MatrixStage.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace Raster {

namespace {

using Profile = Kernel::Consolidated<ICCProfile>;
using Stage = Kernel::Counted<const SpanStage>;

constexpr const char* SRGBName = "sRGB IEC61966-2.1";

/// sRGB (IEC 61966-2-1) with its customary name; the same bytes whenever it is made.
Profile CreateSRGB() {
    const LcmsContext context = CreateLcmsContext();
    const LcmsProfile profile(cmsCreate_sRGBProfileTHR(context.get()));
    const LcmsText name(cmsMLUalloc(context.get(), 1));
    cmsMLUsetASCII(name.get(), "en", "US", SRGBName);
    cmsWriteTag(profile.get(), cmsSigProfileDescriptionTag, name.get());
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile.get(), nullptr, &size);
    std::vector<std::byte> bytes(size);
    cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
    // The creation date in the header, six 16-bit numbers: fixed, that of the standard.
    constexpr std::array<unsigned char, 12> Created{0x07, 0xcf, 0, 10, 0, 1};
    std::ranges::copy(std::as_bytes(std::span(Created)), bytes.begin() + 24);
    return ICCProfile::CreateFromBytes(bytes);
}

const Profile& GetSRGB() {
    static Kernel::NeverDestroyed<const Profile> profile(CreateSRGB());
    return *profile;
}

/// A conversion by lcms2.
class LcmsStage final : public SpanStage {
public:
    LcmsStage(LcmsContext context, LcmsTransform transform)
        : m_context(std::move(context)), m_transform(std::move(transform)) {}

    void Apply(float* rgba, std::size_t count) const override {
        cmsDoTransform(m_transform.get(), rgba, rgba, static_cast<cmsUInt32Number>(count));
    }

private:
    LcmsContext m_context;
    LcmsTransform m_transform;
};

Stage BuildConversion(const ICCProfile& from, const ICCProfile& to) {
    LcmsContext context = CreateLcmsContext();
    const LcmsProfile source = OpenLcmsProfile(context, from.GetBytes());
    const LcmsProfile destination = OpenLcmsProfile(context, to.GetBytes());
    if (Stage stage = CreateMatrixStage(source, destination)) {
        return stage;
    }
    LcmsTransform transform = CreateLcmsTransform(context, source, destination);
    if (!transform) {
        return nullptr;
    }
    return Kernel::MakeCounted<const LcmsStage>(std::move(context), std::move(transform));
}

/// An LRU cache of conversions, since building one takes milliseconds and pictures come in series.
class ConversionCache {
public:
    /// Holds the lock while building: concurrent callers likely need the same conversion.
    Stage Get(const Profile& from, const Profile& to) {
        const Kernel::ScopedLock lock(m_section);
        const auto found = std::ranges::find_if(m_entries, [&from, &to](const Entry& entry) {
            return entry.from == from && entry.to == to;
        });
        if (found != m_entries.end()) {
            std::rotate(m_entries.begin(), found, found + 1);
        } else {
            m_entries.insert(m_entries.begin(), {from, to, BuildConversion(*from, *to)});
            m_entries.resize(std::min(m_entries.size(), Capacity));
        }
        return m_entries.front().stage;
    }

private:
    static constexpr std::size_t Capacity = 8;

    struct Entry {
        Profile from;
        Profile to;
        Stage stage;
    };

    Kernel::CriticalSection m_section;
    std::vector<Entry> m_entries;  // the latest first
};

/// The profile of the intermediate: sRGB for profiles of other colour spaces than RGB.
const Profile& AsRGB(const Profile& profile) {
    return profile->GetColourSpace() == ColourSpace::RGB ? profile : GetSRGB();
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
    return name == SRGBName ? GetSRGB() : Profile();
}

Stage ICCManager::CreateConversion(const Profile& from, const Profile& to) {
    if (!from || !to || AsRGB(from) == AsRGB(to)) {
        return nullptr;
    }
    static Kernel::NeverDestroyed<ConversionCache> cache;
    return cache->Get(AsRGB(from), AsRGB(to));
}

}  // namespace Raster
