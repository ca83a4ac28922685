// Documents from the network that are kept on the disk.

#pragma once

#include "Kernel/String.h"
#include "Network/Export.h"

namespace Network {

/// Keeps one file for each key in a folder of the current user. A file is always whole: it is
/// written beside its place and renamed into it.
///
/// Threads: any; so may several processes.
class NETWORK_API DownloadCache {
public:
    /// An address, and the key under which what it gives is kept.
    struct ResourceIdentifier {
        Kernel::String address;
        Kernel::String key;
    };

    /// A cache in `folder`, which is created when it is needed.
    explicit DownloadCache(Kernel::String folder);

    /// The one in "orvantis/downloads" in the user's cache folder (see
    /// Kernel::FileSystem::GetUserCacheFolder()).
    static DownloadCache& Instance();

    /// Forgets what is kept under `key`, if anything is.
    void Invalidate(const Kernel::String& key);

    /// The path of the file kept under the resource's key, downloaded first if there is none.
    /// Blocks. Throws Http::Exception for a failed transfer, a document of more than 256 MiB or a
    /// status other than 200, and Kernel::IoException if the file can't be written; nothing is kept
    /// then.
    Kernel::String DownloadSync(const ResourceIdentifier& resource);

private:
    Kernel::String GetPath(const Kernel::String& key) const;

    Kernel::String m_folder;
};

}  // namespace Network
