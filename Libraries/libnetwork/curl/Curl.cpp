#include "curl/Curl.h"

#include "Kernel/Utf.h"

#include "trust/Encryption.h"

#include <new>
#include <stdexcept>

namespace Network {

const char* ToCurlText(const Kernel::String& text) {
    if (Kernel::HasZeroByte(text)) {
        throw std::invalid_argument("a setting or a header has a zero byte");
    }
    return text.c_str();
}

void CurlList::Add(const Kernel::String& line) {
    curl_slist* const longer = curl_slist_append(m_list.get(), ToCurlText(line));
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    m_list.release();  // NOLINT(bugprone-unused-return-value): `longer` starts with it
    m_list.reset(longer);
}

namespace {

CURLcode Initialise() {
    PrepareEncryption();
    return curl_global_init(CURL_GLOBAL_DEFAULT);
}

/// Calls `make` once libcurl is initialised.
template <class Owner, class Make>
Owner MakeOwned(Make make) {
    // Without curl_global_cleanup(): requests of other threads may run until the process ends.
    static const CURLcode ready = Initialise();
    Owner owner(ready == CURLE_OK ? make() : nullptr);
    if (!owner) {
        throw std::bad_alloc();
    }
    return owner;
}

}  // namespace

CurlHandle MakeCurlHandle() {
    return MakeOwned<CurlHandle>(curl_easy_init);
}

CurlDriver MakeCurlDriver() {
    return MakeOwned<CurlDriver>(curl_multi_init);
}

}  // namespace Network
