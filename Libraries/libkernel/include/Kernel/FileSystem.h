// Files and folders by name. Paths are UTF-8 on every system. Windows takes both '/' and '\'
// between names, and gives '/'.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace Kernel::FileSystem {

// Exists(), Examine() and RefuseOtherThanFile() follow symbolic links; the functions that delete
// delete the link itself.

/// Whether there is a file or folder at `path`; false also if that can't be determined.
KERNEL_API bool Exists(const String& path) noexcept;

/// What stands at a path.
struct Status {
    enum class Kind : std::uint8_t {
        None,
        File,
        Folder,
        Other,  // such as a pipe
    };

    Kind kind = Kind::None;
    std::uint64_t size = 0;  // of a file, in bytes
    /// When it was last written, for times that the clock reaches.
    std::filesystem::file_time_type modified{};
    std::error_code error{};  // why that can't be determined; then `kind` is None
};

/// What stands at `path`. On Windows this takes paths of every length, unlike std::filesystem
/// by MinGW.
KERNEL_API Status Examine(const String& path) noexcept;

/// Throws IoException if something else than a regular file stands at `path`, links followed, or if
/// `path` has a zero byte: for a library that opens files by itself, which might wait for a pipe's
/// writer or read a device without end. Where nothing stands nothing is thrown.
KERNEL_API void RefuseOtherThanFile(const String& path);

/// Deletes a file or an empty folder. Whether `path` does not exist afterwards.
KERNEL_API bool Delete(const String& path) noexcept;

/// Deletes a file, or a folder recursively. Whether `path` does not exist afterwards.
KERNEL_API bool DeleteAll(const String& path) noexcept;

/// Deletes an empty folder, but no file. Whether it was deleted.
KERNEL_API bool DeleteEmptyFolder(const String& path) noexcept;

/// Creates the folder `path` and its missing parents. Whether the folder exists afterwards.
KERNEL_API bool CreateDirectoryRecursive(const String& path) noexcept;

/// The names of all that is in `folder`, in any order; none if nothing is there. Throws IoException
/// if it is no folder or can't be read.
KERNEL_API std::vector<String> GetNames(const String& folder);

/// `path` made absolute, links not followed. Throws IoException if that fails.
KERNEL_API String GetAbsolutePath(const String& path);

/// `path` made absolute, without symbolic links, "." and "..". Parts that do not exist are
/// normalised as text, and so is what a file system of Windows does not tell. Throws IoException if
/// that fails.
KERNEL_API String GetCanonicalPath(const String& path);

/// Where the symbolic link at `path` leads in the end, even if nothing is there; `path` itself if
/// it is no link. Throws IoException for links that lead to each other, and on Windows for those
/// that lead nowhere.
KERNEL_API String FollowLinks(const String& path);

/// The bytes of free space that this process may use on the file system of `folder`; the largest
/// number if that can't be determined.
KERNEL_API std::uint64_t GetFreeBytes(const String& folder) noexcept;

/// The system's folder for temporary files. Throws IoException if there is none.
KERNEL_API String GetTemporaryFolder();

/// The current user's cache folder, for data that can be fetched or computed again; std::nullopt if
/// the system names none. On POSIX systems $XDG_CACHE_HOME, else $HOME/.cache, of which relative
/// ones are ignored (XDG Base Directory); on Windows %LOCALAPPDATA% if that is absolute, else what
/// the system knows as the folder for local application data.
KERNEL_API std::optional<String> GetUserCacheFolder();

/// The same for what a program notes for itself and that can't be had again: $XDG_STATE_HOME, else
/// $HOME/.local/state; on Windows that of the cache.
KERNEL_API std::optional<String> GetUserStateFolder();

/// Lets nobody but the owner of the file or folder at `path` read or write it, links followed; what
/// is created in the folder from then on is kept from others by that. Throws IoException if that
/// fails, as on file systems that know no owners.
///
/// On POSIX systems it gets the mode 0600, or 0700 for a folder. On Windows its access control list
/// names the user of this process alone, and takes over nothing from the folder above; network
/// shares may apply another one. Wine makes a mode of POSIX of the list.
KERNEL_API void RestrictToOwner(const String& path);

/// Whether nobody but its owner may read or write the file or folder at `path`, links followed, or
/// change that. Throws IoException if that can't be determined.
///
/// On Windows the user of this process, the system and the administrators may, too: these can take
/// any rights, and have them on all that is in a user's folder. File systems that know no owners
/// let everybody read and write.
KERNEL_API bool IsOwnersAlone(const String& path);

/// Deletes temporary files of this library in `folder` that were last written two days ago or
/// earlier: those of processes that were killed. `depth` levels of folders below it are searched,
/// too, but no links and not more than 100,000 files and folders in all.
KERNEL_API void DeleteAbandonedFiles(const String& folder, int depth = 0) noexcept;

/// Creates a new, empty file in the folder for temporary files, with access for the current user
/// alone, and returns its path. Its name is `pattern` with "%1" replaced by TemporaryFilePrefix and
/// random letters and digits. Throws IoException if no file can be created.
[[nodiscard]] KERNEL_API String GetUniqueTemporaryFilename(const String& pattern);

/// The prefix of the names of this library's temporary files.
inline constexpr std::string_view TemporaryFilePrefix = "orvantis-";

}  // namespace Kernel::FileSystem
