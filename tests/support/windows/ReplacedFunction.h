// A function of a loaded module that another one answers for.

#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <cstring>

namespace Support {

/// While it lives, calls of the function `name` of `module` reach `replacement`, which has its
/// type. No other thread may be in the first bytes of the function when it comes and goes.
class ReplacedFunction {
public:
    ReplacedFunction(HMODULE module, const char* name, void* replacement)
        : m_code(reinterpret_cast<void*>(GetProcAddress(module, name))) {
        std::memcpy(m_before.data(), m_code, m_before.size());
        Code jump{std::byte{0x48}, std::byte{0xB8}};  // mov rax, replacement
        std::memcpy(jump.data() + 2, &replacement, sizeof replacement);
        jump[10] = std::byte{0xFF};  // jmp rax
        jump[11] = std::byte{0xE0};
        Write(jump);
    }
    ReplacedFunction(const ReplacedFunction&) = delete;
    ReplacedFunction& operator=(const ReplacedFunction&) = delete;
    ~ReplacedFunction() { Write(m_before); }

private:
    using Code = std::array<std::byte, 12>;

    void Write(const Code& code) const {
        DWORD protection = 0;
        VirtualProtect(m_code, code.size(), PAGE_EXECUTE_READWRITE, &protection);
        std::memcpy(m_code, code.data(), code.size());
        FlushInstructionCache(GetCurrentProcess(), m_code, code.size());
    }

    void* m_code;
    Code m_before{};
};

}  // namespace Support
