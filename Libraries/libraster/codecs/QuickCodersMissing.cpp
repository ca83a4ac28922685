// Of a build without ISA-L: libpng and zlib do all the work.

#include "codecs/QuickDeflate.h"

namespace Raster {

QuickDeflater::~QuickDeflater() = default;

std::unique_ptr<QuickDeflater> MakeQuickDeflater(int /*level*/) {
    return nullptr;
}

}  // namespace Raster
