#include "threads/SignalBlock.h"

namespace Kernel {

// Windows delivers no signals to threads: a console's Ctrl-C comes on a thread of its own.
struct SignalBlock::State {};

SignalBlock::SignalBlock() = default;

SignalBlock::~SignalBlock() = default;

}  // namespace Kernel
