#include "Kernel/LocalisedString.h"

namespace Kernel {

LocalisedString LocalisedString::CreateFakeFromString(String text) {
    LocalisedString result;
    result.m_text = std::move(text);
    result.m_isFake = true;
    return result;
}

String LocalisedString::GetDisplayText() const {
    return m_text;  // there are no translations yet
}

}  // namespace Kernel
