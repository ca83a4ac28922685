#include "trust/posix/TrustStore.h"

#include "Kernel/FileSystem.h"
#include "Kernel/Format.h"
#include "Kernel/IoException.h"
#include "Kernel/NeverDestroyed.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <sys/stat.h>

#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>

namespace Network {

namespace {

/// What changes whenever a file or folder is replaced or written, even by something of the same
/// size and date: nobody can set the time of the change.
struct FileState {
    dev_t device = 0;
    ino_t file = 0;
    off_t size = 0;
    time_t changed = 0;           // seconds
    long changedNanoseconds = 0;  // beyond `changed`
    bool operator==(const FileState&) const = default;
};

struct Entry {
    FileState state;
    std::shared_ptr<X509_STORE> store;
};

struct Entries {
    std::mutex mutex;
    std::map<Kernel::String, Entry> byPath;
};

std::optional<FileState> GetState(const Kernel::String& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return FileState{status.st_dev, status.st_ino, status.st_size, status.st_ctim.tv_sec,
                     status.st_ctim.tv_nsec};
}

std::shared_ptr<X509_STORE> MakeStore() {
    std::shared_ptr<X509_STORE> store(X509_STORE_new(), X509_STORE_free);
    if (!store) {
        throw std::bad_alloc();
    }
    // As libcurl has it: an authority that is trusted ends the chain, whoever has signed it.
    X509_STORE_set_flags(store.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
    return store;
}

std::shared_ptr<X509_STORE> LoadFile(const Kernel::String& path) {
    Kernel::FileSystem::RefuseOtherThanFile(path);
    std::shared_ptr<X509_STORE> store = MakeStore();
    const bool isLoaded = X509_STORE_load_file(store.get(), path.c_str()) == 1;
    ERR_clear_error();
    if (!isLoaded) {
        throw Kernel::IoException(
            Kernel::Format("the certificate authorities in %1 can't be read", path).c_str());
    }
    return store;
}

/// A folder is not parsed: OpenSSL reads an authority from it when a certificate names it.
std::shared_ptr<X509_STORE> UseFolder(const Kernel::String& folder) {
    std::shared_ptr<X509_STORE> store = MakeStore();
    if (!folder.empty()) {
        X509_STORE_load_path(store.get(), folder.c_str());
        ERR_clear_error();
    }
    return store;
}

std::shared_ptr<X509_STORE> GetStore(const Authorities& authorities) {
    if (authorities.file.empty()) {
        return UseFolder(authorities.folder);
    }
    static Kernel::NeverDestroyed<Entries> entries;  // requests may start during exit
    const std::optional<FileState> state = GetState(authorities.file);
    const std::lock_guard lock(entries->mutex);
    Entry& entry = entries->byPath[authorities.file];
    if (!entry.store || entry.state != state) {
        entry = {};
        entry = {state.value_or(FileState()), LoadFile(authorities.file)};
    }
    return entry.store;
}

}  // namespace

void SetTrust(void* context, const Authorities& authorities) {
    SSL_CTX_set1_cert_store(static_cast<SSL_CTX*>(context), GetStore(authorities).get());
}

Kernel::String DescribeState(const Authorities& authorities) {
    const Kernel::String& path = authorities.file.empty() ? authorities.folder : authorities.file;
    const FileState state = GetState(path).value_or(FileState());
    return Kernel::Format("%1 %2 %3 %4.%5 %6", state.device, state.file, state.size, state.changed,
                          state.changedNanoseconds, path);
}

}  // namespace Network
