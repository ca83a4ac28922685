#include "trust/TrustStore.h"

#include "Kernel/Format.h"
#include "Kernel/NeverDestroyed.h"
#include "Network/HttpException.h"

#include "curl/Curl.h"

#include <openssl/err.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <new>
#include <optional>

namespace Network {

namespace {

/// What changes whenever a file is replaced or written.
struct FileState {
    std::uintmax_t size = 0;
    std::filesystem::file_time_type time;
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
    std::error_code error;
    FileState state;
    state.size = std::filesystem::file_size(path.c_str(), error);
    if (!error) {
        state.time = std::filesystem::last_write_time(path.c_str(), error);
    }
    return error ? std::nullopt : std::optional(state);
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
    std::shared_ptr<X509_STORE> store = MakeStore();
    const bool isLoaded = X509_STORE_load_file(store.get(), path.c_str()) == 1;
    ERR_clear_error();
    if (!isLoaded) {
        throw Http::Exception(
            Kernel::Format("the certificate authorities in %1 can't be read", path).c_str());
    }
    return store;
}

/// The system's folder, from which OpenSSL reads an authority when a certificate names it.
std::shared_ptr<X509_STORE> UseSystemFolder() {
    std::shared_ptr<X509_STORE> store = MakeStore();
    if (const char* const folder = curl_version_info(CURLVERSION_NOW)->capath) {
        X509_STORE_load_path(store.get(), folder);
        ERR_clear_error();
    }
    return store;
}

}  // namespace

std::shared_ptr<X509_STORE> GetTrustStore(const Kernel::String& path) {
    const char* const system = curl_version_info(CURLVERSION_NOW)->cainfo;
    const Kernel::String file = !path.empty() ? path : system != nullptr ? system : "";
    const std::optional<FileState> state = GetState(file);
    if (!state && path.empty()) {
        return UseSystemFolder();
    }
    static Kernel::NeverDestroyed<Entries> entries;  // requests may start during exit
    const std::lock_guard lock(entries->mutex);
    Entry& entry = entries->byPath[file];
    if (!entry.store || entry.state != state) {
        entry = {};
        entry = {state.value_or(FileState()), LoadFile(file)};
    }
    return entry.store;
}

}  // namespace Network
