#include "curl/Curl.h"

#include <new>

namespace Network {

void CurlList::Add(const Kernel::String& line) {
    curl_slist* const longer = curl_slist_append(m_list.get(), line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    m_list.release();  // NOLINT(bugprone-unused-return-value): `longer` starts with it
    m_list.reset(longer);
}

CurlHandle MakeCurlHandle() {
    // Without curl_global_cleanup(): requests of other threads may run until the process ends.
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    CurlHandle handle(ready == CURLE_OK ? curl_easy_init() : nullptr);
    if (!handle) {
        throw std::bad_alloc();
    }
    return handle;
}

}  // namespace Network
