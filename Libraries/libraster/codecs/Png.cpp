#include "codecs/Png.h"

#include "Raster/CodecException.h"

#include "codecs/Landing.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <new>

namespace Raster {

bool IsPng(std::span<const std::byte> start) noexcept {
    constexpr std::array<unsigned char, 8> Signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return std::ranges::equal(std::as_bytes(std::span(Signature)),
                              start.first(std::min(start.size(), Signature.size())));
}

namespace {

/// One PNG being read: libpng's objects with its callbacks.
class PngReader {
public:
    explicit PngReader(BufferedSource& source) : m_source(source) {
        // Deliberate: warnings are dropped, as they tell of oddities beside the pixels.
        m_landing.Run([this] {
            m_png = png_create_read_struct(
                PNG_LIBPNG_VER_STRING, &m_landing,
                [](png_structp png, const char* reason) { GetLanding(png).Fail(reason); },
                [](png_structp, const char*) {});
            m_info = m_png != nullptr ? png_create_info_struct(m_png) : nullptr;
        });
        if (m_info == nullptr) {
            png_destroy_read_struct(&m_png, nullptr, nullptr);
            throw std::bad_alloc();
        }
        png_set_read_fn(m_png, this, [](png_structp png, png_bytep target, std::size_t count) {
            static_cast<PngReader*>(png_get_io_ptr(png))->Take(target, count);
        });
        png_set_user_limits(m_png, Picture::MaximumSide, Picture::MaximumSide);
    }
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;
    ~PngReader() { png_destroy_read_struct(&m_png, &m_info, nullptr); }

    Picture Read() {
        m_landing.Run([this] { png_read_info(m_png, m_info); });
        const png_uint_32 width = png_get_image_width(m_png, m_info);
        const png_uint_32 height = png_get_image_height(m_png, m_info);
        if (!Picture::IsSizeSupported(width, height)) {
            throw CodecException("the PNG picture has too many pixels");
        }
        Picture picture(static_cast<int>(width), static_cast<int>(height));
        m_landing.Run([this, &picture] {
            const int passes = AskForRGBA();
            for (int pass = 0; pass < passes; ++pass) {
                for (int y = 0; y < picture.GetHeight(); ++y) {
                    png_read_row(m_png, picture.GetRow(y).data(), nullptr);
                }
            }
            png_read_end(m_png, nullptr);
        });
        return picture;
    }

private:
    static Landing& GetLanding(png_structp png) {
        return *static_cast<Landing*>(png_get_error_ptr(png));
    }

    /// Whatever the file holds, rows arrive as RGBA. Returns the number of passes over the rows.
    int AskForRGBA() {
        png_set_expand(m_png);  // palettes, transparent colours, grey of 1, 2 and 4 bits
        png_set_scale_16(m_png);
        png_set_gray_to_rgb(m_png);
        png_set_add_alpha(m_png, 255, PNG_FILLER_AFTER);
        const int passes = png_set_interlace_handling(m_png);
        png_read_update_info(m_png, m_info);
        return passes;
    }

    void Take(png_bytep target, std::size_t count) {
        bool isWhole = false;
        m_landing.Guard([this, target, count, &isWhole] {
            isWhole = m_source.Read(std::as_writable_bytes(std::span(target, count)));
        });
        if (!isWhole) {
            m_landing.Fail("it ends too early");
        }
    }

    BufferedSource& m_source;
    Landing m_landing{"the PNG data is damaged or of an unsupported kind"};
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
};

}  // namespace

Picture ReadPng(BufferedSource& source) {
    return PngReader(source).Read();
}

}  // namespace Raster
