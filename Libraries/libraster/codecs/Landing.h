// Calling C libraries that report errors by longjmp, without harm to C++ objects and exceptions.

#pragma once

#include "Raster/CodecException.h"

#include <array>
#include <csetjmp>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Raster {

/// The setjmp target for the errors of one C library's object.
///
/// Errors leave the library's frames by longjmp, which runs no destructors: so frames between Run()
/// and the library hold no object with a destructor. Exceptions of our own callbacks must not
/// unwind C frames: they are caught, kept and rethrown by Run().
class Landing {
public:
    /// `subject` starts the message of an error, for example "the PNG data".
    explicit Landing(const char* subject) noexcept : m_subject(subject) {}

    /// Runs `step`, which calls the library. Throws CodecException for what the library reported,
    /// or what a callback threw.
    template <class Step>
    void Run(Step step) {
        static_assert(std::is_trivially_destructible_v<Step>);
        if (setjmp(m_place) ==
            0) {  // NOLINT(cert-err52-cpp): the library's only way to report errors
            step();
            return;
        }
        if (m_thrown) {
            std::rethrow_exception(std::exchange(m_thrown, nullptr));
        }
        throw CodecException(std::string(m_subject) + ": " + m_reason.data());
    }

    /// For the library's error callback: ends the Run() that is in progress.
    [[noreturn]] void Fail(std::string_view reason) noexcept {
        const std::size_t length = reason.copy(m_reason.data(), m_reason.size() - 1);
        m_reason[length] = '\0';
        std::longjmp(m_place, 1);  // NOLINT(cert-err52-cpp)
    }

    /// For the library's other callbacks: runs `call` and ends the Run() in progress if it throws.
    template <class Call>
    void Guard(Call call) noexcept {
        static_assert(std::is_trivially_destructible_v<Call>);
        try {
            call();
            return;
        } catch (...) {  // anything a stream throws: kept for Run()
            m_thrown = std::current_exception();
        }
        std::longjmp(m_place, 1);  // NOLINT(cert-err52-cpp)
    }

private:
    const char* m_subject;
    std::jmp_buf m_place{};
    std::array<char, 256> m_reason{};
    std::exception_ptr m_thrown;
};

}  // namespace Raster
