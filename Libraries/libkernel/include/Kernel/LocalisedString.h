// Text for the user, with what is needed to translate it.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <utility>

namespace Kernel {

/// A text in the language of the source code, which is the key to its translations, and the context
/// that tells equal texts of different meaning apart. Without a translation it reads as it stands.
class KERNEL_API LocalisedString {
public:
    /// Empty: shows nothing.
    LocalisedString() = default;

    LocalisedString(String context, String text)
        : m_context(std::move(context)), m_text(std::move(text)) {}

    /// A text that is shown as it is and never looked up: a name, or what is translated already.
    static LocalisedString CreateFakeFromString(String text);

    const String& GetContext() const noexcept { return m_context; }
    const String& GetText() const noexcept { return m_text; }
    /// Whether this was made by CreateFakeFromString().
    bool IsFake() const noexcept { return m_isFake; }

    friend bool operator==(const LocalisedString&, const LocalisedString&) noexcept = default;

private:
    String m_context;
    String m_text;
    bool m_isFake = false;
};

}  // namespace Kernel
