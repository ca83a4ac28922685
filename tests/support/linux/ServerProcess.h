// A server in a process of its own, whose memory and processor time are not those of its clients.

#pragma once

#include "Server/ScriptedServer.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>

namespace Support {

/// To be made before the first thread, which the new process would not have. The server ends with
/// this object, and with the process that has made it.
class ServerProcess {
public:
    ServerProcess(Server::ScriptedServer::Options options, Server::ScriptedServer::Handler handler)
        : m_scheme(options.identity ? "https" : "http") {
        int ends[2];
        if (pipe(ends) != 0) {
            throw std::runtime_error("no pipe");
        }
        m_process = fork();
        if (m_process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const Server::ScriptedServer server(std::move(options), std::move(handler));
            const int port = server.GetPort();
            for (bool isTold = write(ends[1], &port, sizeof port) == sizeof port; isTold;) {
                pause();
            }
            _exit(1);
        }
        close(ends[1]);
        const bool isReady = read(ends[0], &m_port, sizeof m_port) == sizeof m_port;
        close(ends[0]);
        if (!isReady) {
            throw std::runtime_error("no server");
        }
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ~ServerProcess() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }

    int GetPort() const noexcept { return m_port; }
    std::string GetAddress() const {
        return m_scheme + "://127.0.0.1:" + std::to_string(m_port) + "/";
    }

private:
    const std::string m_scheme;
    pid_t m_process = 0;
    int m_port = 0;
};

}  // namespace Support
