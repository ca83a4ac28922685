// Texts for the user, with what is needed to translate them.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <utility>

namespace Kernel {

/// A text for the user: its source text in English, which is the key to its translations, and a
/// context that tells equal source texts of different meaning apart.
class KERNEL_API LocalisedString {
public:
    /// The empty text.
    LocalisedString() = default;

    LocalisedString(String context, String text)
        : m_context(std::move(context)), m_text(std::move(text)) {}

    /// A text that is shown as it is and never translated: a name, or a text that is translated
    /// already.
    static LocalisedString CreateFakeFromString(String text);

    /// The text to show: its translation, or the source text if there is none. Whatever shows a
    /// text gets it from here.
    String GetDisplayText() const;

    const String& GetContext() const noexcept { return m_context; }
    /// The source text.
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
