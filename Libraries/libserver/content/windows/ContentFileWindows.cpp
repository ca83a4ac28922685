#include "Server/Content.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>

namespace Server {

namespace {

struct HandleClose {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using HandlePointer = std::unique_ptr<void, HandleClose>;

[[noreturn]] void ThrowSystemError(const std::string& action) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), action);
}

class HandleFile : public ContentFile {
public:
    explicit HandleFile(HandlePointer file) : m_file(std::move(file)) {
        LARGE_INTEGER size{};
        if (GetFileSizeEx(m_file.get(), &size) == 0) {
            ThrowSystemError("cannot look at a file");
        }
        m_size = static_cast<std::uint64_t>(size.QuadPart);
    }

    std::uint64_t GetSize() const noexcept override { return m_size; }

    std::size_t Read(std::uint64_t offset, std::span<char> buffer) const override {
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(offset);
        place.OffsetHigh = static_cast<DWORD>(offset >> 32);
        const auto size = static_cast<DWORD>(std::min<std::size_t>(buffer.size(), 1 << 30));
        DWORD count = 0;
        if (ReadFile(m_file.get(), buffer.data(), size, &count, &place) == 0 &&
            GetLastError() != ERROR_HANDLE_EOF) {
            ThrowSystemError("cannot read a file");
        }
        return count;
    }

private:
    HandlePointer m_file;
    std::uint64_t m_size = 0;
};

}  // namespace

Content Content::OfFile(const std::string& path) {
    const std::filesystem::path name(std::u8string(path.begin(), path.end()));
    constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file = CreateFileW(name.c_str(), GENERIC_READ, ShareAll, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        ThrowSystemError("cannot open " + path);
    }
    return Content(std::make_shared<const HandleFile>(HandlePointer(file)));
}

}  // namespace Server
