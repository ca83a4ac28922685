// Loops over pixels of any size, which are faster if it is a compile-time constant.

#pragma once

#include <cstddef>
#include <type_traits>

namespace Raster {

/// Calls `function` with `size` bytes: as a std::integral_constant for the library's own formats,
/// else as a number.
template <class Function>
void WithPixelSize(std::size_t size, const Function& function) {
    switch (size) {
        case 1:
            return function(std::integral_constant<std::size_t, 1>());
        case 2:
            return function(std::integral_constant<std::size_t, 2>());
        case 4:
            return function(std::integral_constant<std::size_t, 4>());
        case 5:
            return function(std::integral_constant<std::size_t, 5>());
        case 8:
            return function(std::integral_constant<std::size_t, 8>());
        case 16:
            return function(std::integral_constant<std::size_t, 16>());
        default:
            return function(size);
    }
}

}  // namespace Raster
