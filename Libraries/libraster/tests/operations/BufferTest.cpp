#include "Raster/Bitmap.h"
#include "Raster/Buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

namespace Raster {
namespace {

TEST(Buffer, HoldsThePixelsOfABitmapWithoutGaps) {
    Bitmap<Red8, Green8, Blue8, Alpha8, X5> bitmap(3, 2);
    const PixelView view = bitmap.GetHostView();
    std::fill_n(view.pixels, view.stride * view.height, std::byte{255});
    const auto buffer = Buffer<Intensity16, Alpha16, X3, X4, X5>::CreateFromBitmap(bitmap);
    EXPECT_EQ(buffer->GetHostView().stride, 12);
    EXPECT_EQ(buffer->GetRow(1).data(), &buffer->GetPixels()[3]);
    EXPECT_EQ(buffer->GetPixels()[5].Get<Alpha16>(), 65535);
    EXPECT_TRUE((Buffer<Alpha8, X2, X3, X4, X5>(0, 0).GetPixels().empty()));
    EXPECT_THROW((Buffer<Alpha8, X2, X3, X4, X5>(1, -1)), std::invalid_argument);
    constexpr int Most = std::numeric_limits<int>::max();
    EXPECT_THROW((Buffer<Cyan8, Magenta8, Yellow8, Black8, Alpha8>(Most, Most)), std::bad_alloc);
    bool abort = true;
    EXPECT_FALSE((Buffer<Alpha8, X2, X3, X4, X5>::CreateFromBitmap(bitmap, &abort)));
}

}  // namespace
}  // namespace Raster
