#include "Kernel/Format.h"

#include <cstddef>

namespace Kernel {

namespace {

/// Calls `emit` with each piece of the result in order: parts of the pattern, and arguments.
template <class Emit>
void ForEachPiece(std::string_view pattern, std::span<const FormatArgument> arguments, Emit emit) {
    std::size_t start = 0;
    for (std::size_t i = 0; i + 1 < pattern.size(); ++i) {
        if (pattern[i] != '%' || pattern[i + 1] < '1' || pattern[i + 1] > '9') {
            continue;
        }
        const auto number = static_cast<std::size_t>(pattern[i + 1] - '1');
        if (number >= arguments.size()) {
            continue;
        }
        emit(pattern.substr(start, i - start));
        emit(arguments[number].GetText());
        start = i + 2;
        ++i;
    }
    emit(pattern.substr(start));
}

}  // namespace

String FormatList(std::string_view pattern, std::span<const FormatArgument> arguments) {
    std::size_t size = 0;
    ForEachPiece(pattern, arguments, [&size](std::string_view piece) { size += piece.size(); });

    String result;
    result.reserve(size);
    ForEachPiece(pattern, arguments, [&result](std::string_view piece) { result += piece; });
    return result;
}

}  // namespace Kernel
