// TIFF files in libtiff, which is opened when the first one is read. All includes of its header go
// through this one.

#pragma once

#include "codecs/RandomSource.h"

#include <tiffio.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string>

namespace Raster {

// What we call of libtiff 4.5, the first one whose files have error handlers of their own.
#define RASTER_TIFF_FUNCTIONS(APPLY)            \
    APPLY(TIFFClientOpenExt)                    \
    APPLY(TIFFClose)                            \
    APPLY(TIFFGetField)                         \
    APPLY(TIFFGetFieldDefaulted)                \
    APPLY(TIFFIsCODECConfigured)                \
    APPLY(TIFFIsTiled)                          \
    APPLY(TIFFOpenOptionsAlloc)                 \
    APPLY(TIFFOpenOptionsFree)                  \
    APPLY(TIFFOpenOptionsSetErrorHandlerExtR)   \
    APPLY(TIFFOpenOptionsSetMaxSingleMemAlloc)  \
    APPLY(TIFFOpenOptionsSetWarningHandlerExtR) \
    APPLY(TIFFReadScanline)                     \
    APPLY(TIFFReadTile)                         \
    APPLY(TIFFScanlineSize64)                   \
    APPLY(TIFFSetField)                         \
    APPLY(TIFFTileRowSize64)                    \
    APPLY(TIFFTileSize64)

struct TIFFFunctions {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name can't have any
#define RASTER_DECLARE(NAME) decltype(&::NAME) NAME = nullptr;
    RASTER_TIFF_FUNCTIONS(RASTER_DECLARE)
#undef RASTER_DECLARE
};

/// Opens the library on the first call; throws CodecException if it can't be.
const TIFFFunctions& GetTIFF();

struct CloseTIFF {
    void operator()(TIFF* tiff) const { GetTIFF().TIFFClose(tiff); }
};

[[noreturn]] void ThrowDamagedTIFF(const std::string& reason);

/// One file, open in libtiff, whose callbacks keep errors and exceptions until Run() ends: neither
/// may leave its frames otherwise.
class TIFFFile {
public:
    /// `source` must outlive this. Throws what reading it does, and CodecException for what is no
    /// TIFF file.
    explicit TIFFFile(RandomSource& source);

    /// Runs `call`, which is given libtiff's object. Throws if it returns false, an error was
    /// reported meanwhile, or a callback threw.
    template <class Call>
    void Run(Call call) {
        const bool isDone = call(m_tiff.get());
        Check(isDone && m_reason.empty());
    }

    /// Reading ends early when it is set.
    void SetAbort(const bool* abort) noexcept { m_abort = abort; }

    /// The value of a tag, or what the standard says if there is none.
    template <class Value>
    Value Get(std::uint32_t tag, Value otherwise = {}) const {
        Value value{};
        return m_functions.TIFFGetFieldDefaulted(m_tiff.get(), tag, &value) != 0 ? value
                                                                                 : otherwise;
    }

    /// An array; empty if the tag is missing.
    template <class Count, class Value>
    std::span<const Value> GetArray(std::uint32_t tag) const {
        Count count = 0;
        Value* values = nullptr;
        const bool isThere =
            m_functions.TIFFGetField(m_tiff.get(), tag, &count, &values) != 0 && values != nullptr;
        return {values, isThere ? count : Count{}};
    }

    TIFF* GetHandle() const noexcept { return m_tiff.get(); }

private:
    // Callbacks of libtiff; `file` is this object.
    static TIFFFile& Get(thandle_t file) { return *static_cast<TIFFFile*>(file); }
    static int TakeError(TIFF* tiff, void* file, const char* module, const char* format,
                         std::va_list arguments);
    static int TakeWarning(TIFF* tiff, void* file, const char* module, const char* format,
                           std::va_list arguments);
    static tmsize_t Read(thandle_t file, void* target, tmsize_t size);
    static tmsize_t Write(thandle_t file, void* bytes, tmsize_t size);
    static toff_t Seek(thandle_t file, toff_t offset, int origin);
    static int Close(thandle_t file);
    static toff_t GetSize(thandle_t file);

    void Note(const char* format, std::va_list arguments) noexcept;
    tmsize_t Take(std::span<std::byte> target) noexcept;
    template <class Step>
    void KeepExceptions(Step step) noexcept;
    void Check(bool isGood);

    const TIFFFunctions& m_functions;
    RandomSource& m_source;
    std::uint64_t m_position = 0;
    const bool* m_abort = nullptr;
    std::string m_reason;
    std::exception_ptr m_thrown;
    bool m_isCut = false;                     // bytes beyond the end were asked for
    std::unique_ptr<TIFF, CloseTIFF> m_tiff;  // closed before what its callbacks use
};

}  // namespace Raster
