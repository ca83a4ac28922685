// A cache of downloaded documents on the disk.

#pragma once

#include "Kernel/String.h"
#include "Network/Export.h"

namespace Network {

/// Keeps one file for each key in a folder. Files are replaced atomically, so each is complete.
///
/// Threads: any; several processes may share a folder. Threads of one process that ask for one key
/// at the same time wait for one download.
class NETWORK_API DownloadCache {
public:
    /// An address and the key under which its document is kept.
    struct ResourceIdentifier {
        Kernel::String address;
        Kernel::String key;
    };

    /// A cache in `folder`, which is created by the first download.
    explicit DownloadCache(Kernel::String folder);

    /// The cache in "orvantis/downloads" below the user's cache folder (see
    /// Kernel::FileSystem::GetUserCacheFolder()).
    static DownloadCache& Instance();

    /// Deletes the file of `key`, if there is one.
    void Invalidate(const Kernel::String& key);

    /// The path of the file of the resource's key, which is downloaded first if there is none.
    /// Blocks. Keeps nothing and throws Http::Exception for a failed transfer, a document of more
    /// than 256 MiB or a status other than 200, Kernel::IoException if the file can't be written or
    /// something else is in its place.
    Kernel::String DownloadSync(const ResourceIdentifier& resource);

private:
    Kernel::String GetPath(const Kernel::String& key) const;

    Kernel::String m_folder;
};

}  // namespace Network
