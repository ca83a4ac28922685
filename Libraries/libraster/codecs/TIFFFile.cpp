#include "codecs/TIFFFile.h"

#include "Raster/CodecException.h"

#include "codecs/Decoder.h"
#include "codecs/SystemLibrary.h"

#include <array>
#include <cstdio>
#include <new>
#include <string_view>
#include <utility>

namespace Raster {

namespace {

TIFFFunctions LoadTIFF() {
    TIFFFunctions functions;
    const SystemLibrary library("TIFF", "tiff", 6);
#define RASTER_LOAD(NAME) library.Find(#NAME, functions.NAME);
    RASTER_TIFF_FUNCTIONS(RASTER_LOAD)
#undef RASTER_LOAD
    return functions;
}

struct FreeTIFFOptions {
    void operator()(TIFFOpenOptions* options) const { GetTIFF().TIFFOpenOptionsFree(options); }
};

}  // namespace

const TIFFFunctions& GetTIFF() {
    static const TIFFFunctions functions = LoadTIFF();
    return functions;
}

void ThrowDamagedTIFF(const std::string& reason) {
    throw CodecException("the TIFF data is damaged or of an unsupported kind: " + reason);
}

TIFFFile::TIFFFile(RandomSource& source) : m_functions(GetTIFF()), m_source(source) {
    // Strips and tiles as they are stored, and all else that depends on sizes in the file.
    constexpr tmsize_t MaximumAllocation = tmsize_t{1} << 30;
    const std::unique_ptr<TIFFOpenOptions, FreeTIFFOptions> options(
        m_functions.TIFFOpenOptionsAlloc());
    if (options == nullptr) {
        throw std::bad_alloc();
    }
    m_functions.TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), MaximumAllocation);
    m_functions.TIFFOpenOptionsSetErrorHandlerExtR(options.get(), TakeError, this);
    m_functions.TIFFOpenOptionsSetWarningHandlerExtR(options.get(), TakeWarning, this);
    m_tiff.reset(m_functions.TIFFClientOpenExt("TIFF", "r", this, Read, Write, Seek, Close, GetSize,
                                               nullptr, nullptr, options.get()));
    Check(m_tiff != nullptr);
    m_reason.clear();  // of what is left out
}

int TIFFFile::TakeError(TIFF* /*tiff*/, void* file, const char* /*module*/, const char* format,
                        std::va_list arguments) {
    Get(file).Note(format, arguments);
    return 1;  // not given to the handlers of the process, too
}

int TIFFFile::TakeWarning(TIFF* /*tiff*/, void* file, const char* module, const char* format,
                          std::va_list arguments) {
    // Most are about tags that we do not use. These two decoders make up pixels after them.
    const std::string_view name(module != nullptr ? module : "");
    if (name == "JPEGLib" || name.starts_with("Fax")) {
        Get(file).Note(format, arguments);
    }
    return 1;
}

tmsize_t TIFFFile::Read(thandle_t file, void* target, tmsize_t size) {
    return Get(file).Take({static_cast<std::byte*>(target), static_cast<std::size_t>(size)});
}

tmsize_t TIFFFile::Write(thandle_t /*file*/, void* /*bytes*/, tmsize_t /*size*/) {
    return 0;
}

toff_t TIFFFile::Seek(thandle_t file, toff_t offset, int origin) {
    TIFFFile& self = Get(file);
    const toff_t base = origin == SEEK_CUR   ? self.m_position
                        : origin == SEEK_END ? self.m_source.GetSize()
                                             : 0;
    return self.m_position = base + offset;
}

int TIFFFile::Close(thandle_t /*file*/) {
    return 0;
}

toff_t TIFFFile::GetSize(thandle_t file) {
    return Get(file).m_source.GetSize();
}

/// Keeps the first reason.
void TIFFFile::Note(const char* format, std::va_list arguments) noexcept {
    std::array<char, 256> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    KeepExceptions([this, &text] {
        if (m_reason.empty()) {
            m_reason = text.data();
        }
    });
}

tmsize_t TIFFFile::Take(std::span<std::byte> target) noexcept {
    bool isRead = false;
    KeepExceptions([this, target, &isRead] {
        CheckAbort(m_abort);
        isRead = m_source.ReadAt(m_position, target);
        m_isCut = m_isCut || !isRead;
    });
    m_position += isRead ? target.size() : 0;
    return isRead ? static_cast<tmsize_t>(target.size()) : 0;
}

template <class Step>
void TIFFFile::KeepExceptions(Step step) noexcept {
    try {
        step();
    } catch (...) {  // for Check()
        m_thrown = std::current_exception();
    }
}

void TIFFFile::Check(bool isGood) {
    if (m_thrown) {
        std::rethrow_exception(std::exchange(m_thrown, nullptr));
    }
    if (m_isCut) {
        ThrowDamagedTIFF("it ends too early");
    }
    if (!isGood) {
        ThrowDamagedTIFF(m_reason.empty() ? "it can't be decoded" : m_reason);
    }
}

}  // namespace Raster
