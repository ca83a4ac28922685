#include "Kernel/LocalisedString.h"

namespace Kernel {

LocalisedString LocalisedString::CreateFakeFromString(String text) {
    LocalisedString result;
    result.m_text = std::move(text);
    result.m_isFake = true;
    return result;
}

}  // namespace Kernel
