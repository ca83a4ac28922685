#include "support/Privacy.h"
#include "support/TestFolder.h"

#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

namespace Support {

std::string GetMachineName() {
    std::wstring name(256, L'\0');
    auto size = static_cast<DWORD>(name.size());
    GetComputerNameExW(ComputerNameDnsHostname, name.data(), &size);
    return FromPath(name.c_str());
}

void LetOthersRead(const std::string& path) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PACL list = nullptr;
    BOOL isThere = FALSE;
    BOOL isDefault = FALSE;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1,
                                                         &descriptor, nullptr);
    GetSecurityDescriptorDacl(descriptor, &isThere, &list, &isDefault);
    std::wstring place = ToPath(path).native();
    SetNamedSecurityInfoW(place.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                          list, nullptr);
    LocalFree(descriptor);
}

}  // namespace Support
