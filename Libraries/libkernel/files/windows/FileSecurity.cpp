#include "files/windows/FileSecurity.h"

#include "files/windows/Replacement.h"

#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <cstddef>

namespace Kernel {

namespace {

/// Owner and list of an open file, as parts of `descriptor`.
struct Rights {
    SecurityDescriptor descriptor;
    PSID owner = nullptr;
    PSID group = nullptr;
    PACL list = nullptr;
};

constexpr SECURITY_INFORMATION Ownership = OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION;

DWORD GetRights(HANDLE file, Rights& rights) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetSecurityInfo(file, SE_FILE_OBJECT, Ownership | DACL_SECURITY_INFORMATION, &rights.owner,
                        &rights.group, &rights.list, nullptr, &descriptor);
    rights.descriptor.reset(descriptor);
    return error;
}

bool KnowsNoOwners(DWORD error) noexcept {
    return error == ERROR_NOT_SUPPORTED || error == ERROR_INVALID_FUNCTION;
}

DWORD SetList(HANDLE file, const Rights& rights) {
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    GetSecurityDescriptorControl(rights.descriptor.get(), &control, &revision);
    const bool isProtected = (control & SE_DACL_PROTECTED) != 0;
    const SECURITY_INFORMATION what =
        DACL_SECURITY_INFORMATION |
        (isProtected ? PROTECTED_DACL_SECURITY_INFORMATION : UNPROTECTED_DACL_SECURITY_INFORMATION);
    return SetSecurityInfo(file, SE_FILE_OBJECT, what, nullptr, nullptr, rights.list, nullptr);
}

bool IsSame(PSID one, PSID other) noexcept {
    return one != nullptr && other != nullptr && EqualSid(one, other) != 0;
}

DWORD SetOwner(HANDLE file, const Rights& rights) {
    Rights own;
    const DWORD error = GetRights(file, own);
    if (error != ERROR_SUCCESS ||
        (IsSame(own.owner, rights.owner) && IsSame(own.group, rights.group))) {
        return error;
    }
    constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE opened = ReOpenFile(file, WRITE_OWNER, ShareAll, 0);
    if (opened == INVALID_HANDLE_VALUE) {
        return GetLastError();
    }
    const SystemHandle closer(opened);
    return SetSecurityInfo(opened, SE_FILE_OBJECT, Ownership, rights.owner, rights.group, nullptr,
                           nullptr);
}

DWORD CopyAttributes(HANDLE from, HANDLE to) {
    constexpr DWORD Kept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                           FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
    FILE_BASIC_INFO state{};
    if (GetFileInformationByHandleEx(from, FileBasicInfo, &state, sizeof state) == 0) {
        return GetLastError();
    }
    const DWORD attributes = state.FileAttributes & Kept;
    state = {};  // times of 0 are left as they are
    state.FileAttributes = attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
    return SetFileInformationByHandle(to, FileBasicInfo, &state, sizeof state) != 0
               ? ERROR_SUCCESS
               : GetLastError();
}

/// The user of this process.
class User {
public:
    User() {
        HANDLE token = nullptr;
        if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) {
            throw std::system_error(ToErrorCode());
        }
        const SystemHandle closer(token);
        DWORD size = 0;
        if (GetTokenInformation(token, TokenUser, m_user.data(), static_cast<DWORD>(m_user.size()),
                                &size) == 0) {
            throw std::system_error(ToErrorCode());
        }
    }

    PSID GetId() noexcept { return reinterpret_cast<TOKEN_USER*>(m_user.data())->User.Sid; }

    /// As text, "S-1-...".
    std::wstring GetText() {
        wchar_t* text = nullptr;
        if (ConvertSidToStringSidW(GetId(), &text) == 0) {
            throw std::system_error(ToErrorCode());
        }
        const std::unique_ptr<wchar_t, LocalMemoryFree> owner(text);
        return text;
    }

private:
    alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> m_user{};
};

/// Whether `entry` lets others than those two, the system and the administrators do harm.
bool AllowsOthers(ACE_HEADER* entry, PSID owner, PSID user) noexcept {
    constexpr DWORD Harmful = FILE_READ_DATA | FILE_WRITE_DATA | FILE_APPEND_DATA | DELETE |
                              FILE_DELETE_CHILD | WRITE_DAC | WRITE_OWNER | GENERIC_READ |
                              GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL;
    if (entry->AceType == ACCESS_DENIED_ACE_TYPE || (entry->AceFlags & INHERIT_ONLY_ACE) != 0) {
        return false;
    }
    if (entry->AceType != ACCESS_ALLOWED_ACE_TYPE) {
        return true;  // with a condition: who may is not known
    }
    auto* const allowed = reinterpret_cast<ACCESS_ALLOWED_ACE*>(entry);
    PSID who = &allowed->SidStart;
    const bool isOwners = IsSame(who, owner) || IsSame(who, user) ||
                          IsWellKnownSid(who, WinCreatorOwnerRightsSid) != 0 ||
                          IsWellKnownSid(who, WinLocalSystemSid) != 0 ||
                          IsWellKnownSid(who, WinBuiltinAdministratorsSid) != 0;
    return !isOwners && (allowed->Mask & Harmful) != 0;
}

}  // namespace

OwnerOnly::OwnerOnly(Heirs heirs) {
    // A list that is protected from the folder's, with all rights for one user.
    const std::wstring text = std::wstring(L"D:P(A;") + (heirs == Heirs::Content ? L"OICI" : L"") +
                              L";FA;;;" + User().GetText() + L")";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                             &descriptor, nullptr) == 0) {
        throw std::system_error(ToErrorCode());
    }
    m_descriptor.reset(descriptor);
    m_attributes = {sizeof m_attributes, descriptor, FALSE};
}

std::error_code OwnerOnly::SetFor(HANDLE file) const {
    BOOL isThere = FALSE;
    BOOL isDefault = FALSE;
    PACL list = nullptr;
    if (GetSecurityDescriptorDacl(m_descriptor.get(), &isThere, &list, &isDefault) == 0) {
        return ToErrorCode();
    }
    constexpr SECURITY_INFORMATION What =
        DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
    // Also for what is in a folder already.
    const DWORD error =
        SetSecurityInfo(file, SE_FILE_OBJECT, What, nullptr, nullptr, list, nullptr);
    if (error != ERROR_SUCCESS) {
        return ToErrorCode(error);
    }
    // Once more, as Wine adds the list of the folder around it although this one is protected.
    return SetKernelObjectSecurity(file, What, m_descriptor.get()) != 0 ? std::error_code()
                                                                        : ToErrorCode();
}

bool AllowsOwnerOnly(PSECURITY_DESCRIPTOR descriptor, PSID user) {
    PSID owner = nullptr;
    PACL list = nullptr;
    BOOL isThere = FALSE;
    BOOL isDefault = FALSE;
    if (GetSecurityDescriptorOwner(descriptor, &owner, &isDefault) == 0 ||
        GetSecurityDescriptorDacl(descriptor, &isThere, &list, &isDefault) == 0) {
        throw std::system_error(ToErrorCode());
    }
    if (isThere == FALSE || list == nullptr) {
        return false;
    }
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (GetAce(list, i, &entry) == 0 ||
            AllowsOthers(static_cast<ACE_HEADER*>(entry), owner, user)) {
            return false;
        }
    }
    return true;
}

bool AllowsOwnerOnly(HANDLE file) {
    Rights rights;
    const DWORD error = GetRights(file, rights);
    if (KnowsNoOwners(error)) {
        return false;
    }
    if (error != ERROR_SUCCESS) {
        throw std::system_error(ToErrorCode(error));
    }
    return AllowsOwnerOnly(rights.descriptor.get(), User().GetId());
}

std::error_code CopySecurity(const std::wstring& path, HANDLE file) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
        return ToErrorCode(ERROR_ACCESS_DENIED);  // which the right to add to it may not tell
    }
    SystemHandle other;
    const std::error_code refused = RepeatWhileHeld(path, [&] {
        other = OpenHandle(path.c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | READ_CONTROL,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
        return other ? ERROR_SUCCESS : GetLastError();
    });
    if (refused) {
        return refused;
    }
    Rights rights;
    DWORD error = GetRights(other.get(), rights);
    if (error == ERROR_SUCCESS) {
        error = SetOwner(file, rights);
    }
    if (error == ERROR_SUCCESS) {
        error = SetList(file, rights);
    }
    if (error == ERROR_SUCCESS || KnowsNoOwners(error)) {
        error = CopyAttributes(other.get(), file);
    }
    return error == ERROR_SUCCESS ? std::error_code() : ToErrorCode(error);
}

}  // namespace Kernel
