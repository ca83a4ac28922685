// The peer of remote operations: libcurl alone, which sends what they send to where they send it.

#pragma once

#include "curl/Curl.h"

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace Bare {

/// Where the service is, by what name, and who vouches for it.
struct Service {
    std::string address;  // what those of operations start with
    std::string route;    // as CURLOPT_CONNECT_TO has it
    std::string authorities;
};

/// A handle of libcurl that is kept for many requests, each with a connection of its own.
class Call {
public:
    Call(const Service& service, const std::string& operation)
        : m_handle(curl_easy_init()), m_address(service.address + operation) {
        m_headers.reset(curl_slist_append(nullptr, "Content-Type: application/json"));
        curl_slist_append(m_headers.get(), "Expect:");
        m_routes.reset(curl_slist_append(nullptr, service.route.c_str()));
        Set(CURLOPT_URL, m_address.c_str());
        Set(CURLOPT_CONNECT_TO, m_routes.get());
        Set(CURLOPT_PROXY, "");
        Set(CURLOPT_CAINFO, service.authorities.c_str());
        Set(CURLOPT_CAPATH, nullptr);
        Set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
        Set(CURLOPT_HTTPHEADER, m_headers.get());
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_FRESH_CONNECT, 1L);
        Set(CURLOPT_FORBID_REUSE, 1L);
        Set(
            CURLOPT_WRITEFUNCTION, +[](char* data, std::size_t, std::size_t size, void* reply) {
                static_cast<std::string*>(reply)->append(data, size);
                return size;
            });
    }

    /// Gets the handle ready to send `body`, which must live until it is sent.
    CURL* Prepare(const std::string& body) {
        m_reply.clear();
        Set(CURLOPT_WRITEDATA, &m_reply);
        Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        Set(CURLOPT_POSTFIELDS, body.c_str());
        return m_handle.get();
    }

    const std::string& Post(const std::string& body) {
        return TakeReply(curl_easy_perform(Prepare(body)));
    }
    const std::string& Get() {
        m_reply.clear();
        Set(CURLOPT_WRITEDATA, &m_reply);
        Set(CURLOPT_HTTPGET, 1L);
        return TakeReply(curl_easy_perform(m_handle.get()));
    }

    /// What has come in answer; throws if `code` or the status is none of success.
    const std::string& TakeReply(CURLcode code) const {
        long status = 0;
        curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &status);
        if (code != CURLE_OK || status != 200) {
            throw std::runtime_error("the peer's request has failed");
        }
        return m_reply;
    }

private:
    using List = std::unique_ptr<curl_slist, Network::CurlFree>;

    template <class Value>
    void Set(CURLoption option, Value value) {
        if (curl_easy_setopt(m_handle.get(), option, value) != CURLE_OK) {
            throw std::runtime_error("the peer lacks an option");
        }
    }

    const Network::CurlHandle m_handle;
    const std::string m_address;
    List m_headers;
    List m_routes;
    std::string m_reply;
};

/// Many such handles that one thread drives.
class Calls {
public:
    /// Replaces the handles. What they share stays, as the authorities.
    void Set(const Service& service, const std::string& operation, std::size_t count) {
        m_calls.clear();
        while (m_calls.size() < count) {
            m_calls.push_back(std::make_unique<Call>(service, operation));
        }
    }

    /// Makes a call with each handle, all at once.
    void Post(const std::string& body) {
        for (const auto& call : m_calls) {
            curl_multi_add_handle(m_driver.get(), call->Prepare(body));
        }
        for (int running = 1; running > 0;) {
            curl_multi_perform(m_driver.get(), &running);
            if (running > 0) {
                curl_multi_poll(m_driver.get(), nullptr, 0, 1000, nullptr);
            }
        }
        int left = 0;
        while (const CURLMsg* const message = curl_multi_info_read(m_driver.get(), &left)) {
            if (message->data.result != CURLE_OK) {
                throw std::runtime_error("one of the peer's requests has failed");
            }
        }
        for (const auto& call : m_calls) {
            curl_multi_remove_handle(m_driver.get(), call->Prepare(body));
            call->TakeReply(CURLE_OK);
        }
    }

private:
    const Network::CurlDriver m_driver{curl_multi_init()};
    std::vector<std::unique_ptr<Call>> m_calls;
};

}  // namespace Bare
