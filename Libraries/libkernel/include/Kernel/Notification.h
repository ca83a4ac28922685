// What a Broadcaster posts to its listeners.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Export.h"

namespace Kernel {

/// Base of notifications: the type says what has happened, and fields may say more. Listeners tell
/// types apart by dynamic_cast.
class KERNEL_API Notification : public Countable {
public:
    ~Notification() override;
};

}  // namespace Kernel
