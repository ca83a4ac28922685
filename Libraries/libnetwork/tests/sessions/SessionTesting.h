// Requests of one session, for its tests.

#pragma once

#include "Network/Session.h"

#include "tests/NetworkTest.h"

#include <string>

namespace Network {

using Server::ReplyAndKeep;

class SessionTest : public NetworkTest {
protected:
    Http::Request MakeRequest(const Kernel::String& address,
                              Http::Method method = Http::Method::Get) const {
        Http::Request request = Network::MakeRequest(address, method);
        request.session = m_session;
        if (method == Http::Method::Post) {
            request.body = Kernel::MakeCounted<Utf8DataSource>("job");
        }
        return request;
    }

    /// What `request` brings, or why it fails.
    static std::string Fetch(Http::Request request) {
        const auto stream = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
        request.sink = Kernel::MakeCounted<StreamDataSink>(stream, 10'000'000);
        const Http::Response response = Http::DoRequest(request, false);
        return response.failure.empty() ? Support::GetText(*stream) : response.failure.c_str();
    }

    Kernel::Counted<Session> m_session = Kernel::MakeCounted<Session>();
};

}  // namespace Network
