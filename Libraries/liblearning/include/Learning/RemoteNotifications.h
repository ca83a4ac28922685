// What the client of the inference service tells its listeners.

#pragma once

#include "Kernel/Notification.h"
#include "Learning/Export.h"

namespace Learning {

/// The first of the operations that now run has begun: of those that are worth a sign of activity,
/// which are help and all that work on pictures.
class LEARNING_API RemoteInferenceStartedNotification : public Kernel::Notification {
public:
    ~RemoteInferenceStartedNotification() override;
};

/// The last of them has ended.
class LEARNING_API RemoteInferenceEndedNotification : public Kernel::Notification {
public:
    ~RemoteInferenceEndedNotification() override;
};

}  // namespace Learning
