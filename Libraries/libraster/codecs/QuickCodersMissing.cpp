// Of a build without ISA-L: libpng and zlib do all the work.

#include "codecs/QuickDeflate.h"
#include "codecs/QuickInflate.h"

namespace Raster {

QuickDeflater::~QuickDeflater() = default;

std::unique_ptr<QuickDeflater> MakeQuickDeflater(int /*level*/) {
    return nullptr;
}

QuickInflater::~QuickInflater() = default;

std::unique_ptr<QuickInflater> MakeQuickInflater() {
    return nullptr;
}

}  // namespace Raster
