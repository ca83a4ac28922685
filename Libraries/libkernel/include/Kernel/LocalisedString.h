// Texts for the user, with what is needed to translate them.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <utility>

namespace Kernel {

/// A source text and its context, in a table of constants. Texts that are to be translated are
/// found, by tools/translations.sh, where a Translatable or a LocalisedString is made of two
/// literals.
struct Translatable {
    constexpr Translatable(const char* ofContext, const char* ofText)
        : context(ofContext), text(ofText) {}

    const char* context;
    const char* text;
};

/// A text for the user: its source text in English, which is the key to its translations, and a
/// context that tells equal source texts of different meaning apart.
///
/// Threads: as for String; the catalogue is that of the whole process.
class KERNEL_API LocalisedString {
public:
    /// Takes translations from the file at `path` from now on, a catalogue that GNU gettext's
    /// msgfmt has compiled, in UTF-8 and of at most 16 MiB; none for an empty path, as at first.
    /// The locale of the process has no part in this. If the file can't be used the reason is
    /// logged, and translations stay as they were.
    static bool SetCatalogue(const String& path);

    /// The empty text.
    LocalisedString() = default;

    LocalisedString(String context, String text)
        : m_context(std::move(context)), m_text(std::move(text)) {}
    // NOLINTNEXTLINE(google-explicit-constructor): it is the same text
    LocalisedString(const Translatable& text) : LocalisedString(text.context, text.text) {}

    /// A text that is shown as it is and never translated: a name, or a text that is translated
    /// already.
    static LocalisedString CreateFakeFromString(String text);

    /// The text to show: its translation, or the source text if there is none. Placeholders are
    /// filled in it, not before. Whatever shows a text gets it from here.
    String Translate() const;

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
