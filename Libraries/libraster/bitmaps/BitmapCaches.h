// A bitmap's device copy, mipmap levels and pending load.

#pragma once

#include "Kernel/CriticalSection.h"
#include "Raster/DynamicBitmap.h"

#include "hardware/DeviceCopy.h"

#include <atomic>
#include <memory>
#include <vector>

namespace Raster {

struct DynamicBitmap::Caches {
    DeviceCopy deviceCopy;

    Kernel::CriticalSection loadSection;
    std::unique_ptr<DelayLoader> loader;
    std::atomic<bool> isPending = false;  // whether there is a loader; read without the lock

    Kernel::CriticalSection levelSection;
    std::vector<Kernel::Counted<const DynamicBitmap>> levels;  // from level 1 on

    void DropLevels() {
        const Kernel::ScopedLock lock(levelSection);
        levels.clear();
    }
};

}  // namespace Raster
