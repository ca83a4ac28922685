// Conversion between UTF-8 and UTF-16, and texts for readers that do not take every byte.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <string>
#include <string_view>

namespace Kernel {

/// `text` as UTF-16. Each maximal ill-formed sequence of bytes becomes one U+FFFD, as the Unicode
/// Standard recommends (chapter 3.9, "U+FFFD Substitution of Maximal Subparts"): overlong forms,
/// surrogates and values above U+10FFFF are ill-formed.
KERNEL_API std::u16string ToUtf16(std::string_view text);

/// `text` as UTF-8. Each unpaired surrogate becomes U+FFFD.
KERNEL_API String FromUtf16(std::u16string_view text);

/// Whether `text` is well-formed UTF-8.
KERNEL_API bool IsValidUtf8(std::string_view text) noexcept;

/// `text` with each maximal ill-formed sequence replaced by U+FFFD; shares the buffer of `text` if
/// there is none.
KERNEL_API String ReplaceInvalidUtf8(const String& text);

/// `text` for one line of a message: ill-formed sequences replaced as by ReplaceInvalidUtf8(), and
/// by "?" what could make a terminal show another text than there is: control characters, including
/// U+0080 to U+009F, which some terminals interpret, separators of lines, and characters that are
/// not seen, such as those that turn the direction of writing. Joiners of letters are kept.
KERNEL_API String MakePrintable(std::string_view text);
/// The same for a text of several lines: line feeds are kept.
KERNEL_API String MakePrintableLines(std::string_view text);

/// Whether `text` has a zero byte, at which C interfaces take a text to end. Whoever hands a text
/// to one refuses such a text: its beginning may be another name or path.
inline bool HasZeroByte(std::string_view text) noexcept {
    return text.find('\0') != std::string_view::npos;
}

}  // namespace Kernel
