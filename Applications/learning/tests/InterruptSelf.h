// The end of this process by its user, for what runs in it.

#pragma once

#include "support/Process.h"

namespace LearningApp::Testing {

/// To be called before InterruptSelf(): who has started this process may have it ignore that.
void ListenToEndings();

/// Does to this process what its user would do.
void InterruptSelf(Support::Ending ending);

}  // namespace LearningApp::Testing
