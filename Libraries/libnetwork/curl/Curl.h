// Owners of libcurl's handles. All includes of libcurl's header go through this one.

#pragma once

#include "Kernel/String.h"

#include <curl/curl.h>

#include <memory>

namespace Network {

struct CurlFree {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
    void operator()(CURLU* address) const noexcept { curl_url_cleanup(address); }
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
    void operator()(char* text) const noexcept { curl_free(text); }
};

struct CurlDriverFree {  // CURL and CURLM are the same type to the compiler
    void operator()(CURLM* driver) const noexcept { curl_multi_cleanup(driver); }
};

using CurlHandle = std::unique_ptr<CURL, CurlFree>;
using CurlDriver = std::unique_ptr<CURLM, CurlDriverFree>;
using CurlAddress = std::unique_ptr<CURLU, CurlFree>;
using CurlText = std::unique_ptr<char, CurlFree>;

/// `text` as libcurl takes texts, for as long as it lives. Throws std::invalid_argument if it has a
/// zero byte: libcurl would use what comes before it.
const char* ToCurlText(const Kernel::String& text);

/// A list of text lines.
class CurlList {
public:
    /// Throws as ToCurlText() does, and std::bad_alloc if there is no memory.
    void Add(const Kernel::String& line);
    curl_slist* Get() const noexcept { return m_list.get(); }

private:
    std::unique_ptr<curl_slist, CurlFree> m_list;
};

/// A new handle; initialises libcurl first. Throws std::bad_alloc if there is no memory.
CurlHandle MakeCurlHandle();

/// What drives a handle without blocking. Throws std::bad_alloc if there is no memory.
CurlDriver MakeCurlDriver();

// What differs between systems, one source file each.

/// A socket for a connection to `address`, which programs that this process starts don't inherit.
/// CURL_SOCKET_BAD if the system does not know the kind of address; throws std::system_error if it
/// has no more sockets.
curl_socket_t OpenSocket(const curl_sockaddr& address);

}  // namespace Network
