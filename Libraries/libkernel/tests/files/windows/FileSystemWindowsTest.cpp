#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Kernel/NativePath.h"

#include "files/windows/FileSecurity.h"
#include "support/Environment.h"
#include "support/TestFolder.h"
#include "tests/StreamTexts.h"
#include "tests/files/TemporaryFiles.h"

#include <windows.h>
#include <aclapi.h>
#include <gtest/gtest.h>
#include <sddl.h>

#include <algorithm>
#include <optional>
#include <string>

namespace Kernel::FileSystem {
namespace {

// Neither symbolic links nor junctions, which Wine 8 does not let a program make.

TEST(FileSystem, TakesSeparatorsOfBothKindsAndGivesOne) {
    const Support::TestFolder folder;
    std::string turned = folder.At("Ω/测试/😀");
    std::replace(turned.begin(), turned.end(), '/', '\\');
    EXPECT_TRUE(CreateDirectoryRecursive(turned));
    EXPECT_TRUE(Exists(folder.At("Ω/测试/😀")));
    EXPECT_EQ(GetCanonicalPath(turned), GetCanonicalPath(folder.At("Ω/测试/😀")));
    for (const String& path : {GetCanonicalPath(turned), GetTemporaryFolder(),
                               GetUserCacheFolder().value(), GetUniqueTemporaryFilename("%1")}) {
        EXPECT_EQ(std::string_view(path).find('\\'), std::string_view::npos) << path.c_str();
        EXPECT_TRUE(Exists(path)) << path.c_str();
    }
}

TEST_F(TemporaryFiles, ArePrivate) {
    const std::wstring path = Support::ToPath(GetUniqueTemporaryFilename("%1.ä"));
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_EQ(GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT,
                                    OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                                    nullptr, &list, nullptr, &descriptor),
              DWORD{ERROR_SUCCESS});
    for (DWORD i = 0; i < list->AceCount; ++i) {
        ACCESS_ALLOWED_ACE* entry = nullptr;
        ASSERT_NE(GetAce(list, i, reinterpret_cast<void**>(&entry)), 0);
        // Wine adds the system to each list.
        EXPECT_TRUE(IsWellKnownSid(&entry->SidStart, WinLocalSystemSid) != 0 ||
                    EqualSid(&entry->SidStart, owner) != 0)
            << i;
    }
    LocalFree(descriptor);
}

struct ListCase {
    const wchar_t* descriptor;  // in the language of security descriptors
    bool isOwners;
};
class OwnersList : public testing::TestWithParam<ListCase> {};
// In memory: Wine 8 keeps a mode of POSIX in the place of a list.
TEST_P(OwnersList, AllowsNobodyElse) {
    constexpr const wchar_t* User = L"S-1-5-21-1-2-3-1001";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    PSID user = nullptr;
    ASSERT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
                  GetParam().descriptor, SDDL_REVISION_1, &descriptor, nullptr),
              0);
    ASSERT_NE(ConvertStringSidToSidW(User, &user), 0);
    EXPECT_EQ(AllowsOwnerOnly(descriptor, user), GetParam().isOwners);
    LocalFree(user);
    LocalFree(descriptor);
}
INSTANTIATE_TEST_SUITE_P(
    , OwnersList,
    testing::Values(ListCase{L"O:BAD:P(A;;FA;;;S-1-5-21-1-2-3-1001)", true},
                    ListCase{L"O:S-1-5-21-1-2-3-7D:P(A;;FA;;;S-1-5-21-1-2-3-7)", true},
                    ListCase{L"O:BAD:(A;ID;FA;;;SY)(A;ID;FA;;;BA)", true},
                    ListCase{L"O:BAD:P(D;;FA;;;WD)(A;OICIIO;FA;;;WD)(A;;RC;;;BU)", true},
                    ListCase{L"O:BAD:P(A;;FA;;;S-1-5-21-1-2-3-1002)", false},
                    ListCase{L"O:BAD:P(A;;FA;;;SY)(A;;FR;;;WD)", false},
                    ListCase{L"O:BAD:P(A;;0x100088;;;WD)", true},  // to look at it and wait for it
                    ListCase{L"O:BAD:P(A;;0x1;;;BU)", false},      // to read it
                    ListCase{L"O:BAD:P(A;;0x2;;;BU)", false},      // to write into it
                    ListCase{L"O:BAD:P(A;;0x4;;;BU)", false},      // to write behind it
                    ListCase{L"O:BAD:P(A;;0x40;;;BU)", false},     // to delete what is in it
                    ListCase{L"O:BAD:P(A;;SD;;;BU)", false},
                    ListCase{L"O:BAD:P(A;;WO;;;BU)", false},
                    ListCase{L"O:BAD:P(A;;GW;;;BU)", false},
                    ListCase{L"O:BAD:P(A;;GX;;;BU)", false},
                    ListCase{L"O:BAD:P(A;;GA;;;BU)", false},
                    ListCase{L"O:BAD:P(A;;FA;;;SY)(A;;WD;;;AU)", false},
                    ListCase{L"O:BAD:P(A;;GR;;;AU)", false}, ListCase{L"O:BA", false}));

TEST(FileSystem, KnowsTheUsersFolders) {
    const std::string before(std::string_view(GetEnv("LOCALAPPDATA").value_or(String())));
    const Support::TestFolder folder;
    Support::SetEnvironment("LOCALAPPDATA", folder.At("Ω"));
    EXPECT_EQ(GetUserCacheFolder(), folder.At("Ω"));
    EXPECT_EQ(GetUserStateFolder(), folder.At("Ω"));
    for (const std::optional<std::string>& ignored :
         {std::optional<std::string>(), {"relative"}, {"C:relative"}, {"/rooted"}}) {
        Support::SetEnvironment("LOCALAPPDATA", ignored);
        EXPECT_TRUE(Exists(GetUserCacheFolder().value()));
    }
    Support::SetEnvironment("LOCALAPPDATA", before);
}

TEST(FileSystem, HasNoLimitOfPaths) {
    const Support::TestFolder folder;
    std::string deep = folder.At("deep");
    for (int i = 0; i < 8; ++i) {
        deep += "/" + std::string(60, static_cast<char>('a' + i));
    }
    EXPECT_TRUE(CreateDirectoryRecursive(deep));
    WriteFile(deep + "/file", "text");
    EXPECT_EQ(ReadFile(deep + "/file"), "text");
    EXPECT_EQ(GetNames(deep), std::vector<String>{"file"});
    EXPECT_EQ(FromNativePath(ToNativePath(deep)), deep);
    const Status status = Examine(deep + "/file");
    EXPECT_EQ(status.kind, Status::Kind::File);
    EXPECT_EQ(status.size, 4U);
    EXPECT_EQ(GetCanonicalPath(deep + "/file"), GetAbsolutePath(deep + "/file"));
    EXPECT_TRUE(DeleteAll(folder.At("deep")));
    EXPECT_FALSE(Exists(folder.At("deep")));
}

TEST(FileSystem, MeasuresPathsFromTheRoot) {
    const Support::TestFolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    const std::string name(100, 'n');
    ASSERT_TRUE(CreateDirectoryRecursive(folder.At(name + "/" + name)));
    const auto isUnlimited = [](const String& path) {
        return ToNativePath(path).starts_with(LR"(\\?\)");
    };
    EXPECT_FALSE(isUnlimited(name));
    std::filesystem::current_path(Support::ToPath(folder.At(name + "/" + name)));
    EXPECT_TRUE(isUnlimited(name));
    EXPECT_FALSE(isUnlimited("NUL"));
    WriteFile(name, "text");
    EXPECT_EQ(GetNames("."), std::vector<String>{name});
    std::filesystem::current_path(before);
}

TEST(FileSystem, KnowsEveryFormOfPaths) {
    const Support::TestFolder folder;
    const String place = GetAbsolutePath(folder.At("file"));
    folder.Write("file", "text");
    const std::string unlimited = "//?/" + std::string(std::string_view(place));
    std::string turned = unlimited;
    std::replace(turned.begin(), turned.end(), '/', '\\');
    for (const std::string& path : {unlimited, turned}) {
        EXPECT_EQ(GetAbsolutePath(path), place) << path;
    }
    EXPECT_EQ(ReadFile(turned.substr(0, turned.rfind('\\')) + "/file"), "text");
    EXPECT_EQ(GetAbsolutePath("\\\\host\\share\\ä/../b"), "//host/share/b");
    EXPECT_EQ(GetAbsolutePath("//?/UNC/host/share/b"), "//host/share/b");
    EXPECT_EQ(FromNativePath(LR"(\\host\share\b)"), "//host/share/b");
    EXPECT_EQ(GetAbsolutePath("NUL"), "//./NUL");
}

TEST(FileSystem, RefusesDevicesAndNamesThatAreNoText) {
    const Support::TestFolder folder;
    folder.Write("file", "text");
    EXPECT_NO_THROW(RefuseOtherThanFile(folder.At("file")));
    EXPECT_NO_THROW(RefuseOtherThanFile(folder.At("missing")));
    EXPECT_THROW(RefuseOtherThanFile(folder.At("")), IoException);
    EXPECT_THROW(RefuseOtherThanFile("NUL"), IoException);
    EXPECT_THROW(RefuseOtherThanFile(folder.At("") + "file\xFF"), IoException);
    EXPECT_FALSE(CreateDirectoryRecursive(folder.At("") + "\xFF"));
    EXPECT_FALSE(Exists(folder.At("") + "\xFF"));
}

TEST(FileSystem, DeletesWhatIsReadOnly) {
    const Support::TestFolder folder;
    for (const char* const name : {"tree/file", "file"}) {
        ASSERT_TRUE(CreateDirectoryRecursive(folder.At("tree")));
        folder.Write(name, "text");
        ASSERT_NE(
            SetFileAttributesW(Support::ToPath(folder.At(name)).c_str(), FILE_ATTRIBUTE_READONLY),
            0);
    }
    EXPECT_TRUE(DeleteAll(folder.At("tree")));
    EXPECT_TRUE(Delete(folder.At("file")));
    EXPECT_TRUE(Support::GetNames(folder.At("")).empty());
}

}  // namespace
}  // namespace Kernel::FileSystem
