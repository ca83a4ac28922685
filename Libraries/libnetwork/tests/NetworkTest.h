// What the tests of this library share: requests in both forms, and what came of them.

#pragma once

#include "Kernel/MemoryInOutStream.h"
#include "Kernel/Testing.h"
#include "Network/Http.h"
#include "Network/Settings.h"

#include "support/MemoryText.h"
#include "support/TestFolder.h"
#include "support/TestServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Network {

using Server::Reply;
using Server::Script;
using Server::ScriptedServer;
using Server::Send;
using Support::Encrypted;
using Support::TestServer;

inline Http::Request MakeRequest(const Kernel::String& address,
                                 Http::Method method = Http::Method::Get) {
    Http::Request request;
    request.address = address;
    request.method = method;
    return request;
}

using Events = std::vector<std::string>;

/// Notes what happens, in its order, and throws at events that start with `throwsAt`.
class Recorder {
public:
    explicit Recorder(std::string throwsAt = "") : m_throwsAt(std::move(throwsAt)) {}

    void Note(const std::string& event) {
        const std::lock_guard lock(m_mutex);
        if (m_events.empty() || m_events.back() != event) {  // some come any number of times
            m_events.push_back(event);
        }
        if (!m_throwsAt.empty() && event.starts_with(m_throwsAt)) {
            throw 1;  // a handler may throw anything
        }
    }
    Events GetEvents() const {
        const std::lock_guard lock(m_mutex);
        return m_events;
    }

private:
    const std::string m_throwsAt;
    mutable std::mutex m_mutex;
    Events m_events;
};

using RecorderPointer = std::shared_ptr<Recorder>;

/// Starts `request` in the asynchronous form with all handlers.
inline void Start(Http::Request request, const RecorderPointer& recorder) {
    Http::DoRequest(
        std::move(request),
        [recorder](const Http::Request&, const Http::Response&) { recorder->Note("success"); },
        [recorder](const Http::Request&, const Http::Response&) { recorder->Note("failure"); },
        [recorder] { recorder->Note("response"); },
        [recorder](const Kernel::LocalisedString& s) { recorder->Note(s.GetText().c_str()); },
        [recorder](Http::ProgressInformation progress) {
            recorder->Note(Kernel::Format("progress %1/%2 %3/%4", progress.received,
                                          progress.totalToReceive, progress.sent,
                                          progress.totalToSend)
                               .c_str());
        });
}

/// Waits until nobody else holds `recorder`, so that no handler can be called any more.
inline void Await(const RecorderPointer& recorder) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (recorder.use_count() > 1 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_EQ(recorder.use_count(), 1) << "the request does not end";
}

/// Trusts the authority of test servers and no other, uses no proxy, and keeps the log.
class NetworkTest : public testing::Test {
protected:
    NetworkTest() {
        SetCertificateAuthorities(
            m_folder.Write("authority.pem", Support::GetAuthority().GetCertificate()));
        SetProxy("");
    }

    const Support::TestFolder m_folder;
    Kernel::Testing::Recorded<Kernel::Log> m_log;
};

}  // namespace Network
