#include "Server/FileDescriptor.h"

#include "service/LineStream.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string_view>
#include <system_error>

namespace Service {

namespace {

constexpr int PatienceMs = 1000;

Server::FileDescriptor OpenLog(const std::string& path) {
    // Appending: what copies the file and empties it gets no gap. A pipe waits for no reader.
    Server::FileDescriptor file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0644));
    if (!file.IsOpen()) {
        throw std::system_error(errno, std::generic_category(), "cannot open the log " + path);
    }
    return file;
}

/// Collects bytes until they are to be flushed.
class LineBuffer : public std::streambuf {
public:
    explicit LineBuffer(Server::FileDescriptor file) : m_file(std::move(file)) {}

    void Replace(Server::FileDescriptor file) {
        m_file = std::move(file);
        m_isStuck = false;
    }

private:
    int_type overflow(int_type c) override {
        if (c != traits_type::eof()) {
            m_pending += static_cast<char>(c);
        }
        return traits_type::not_eof(c);
    }

    std::streamsize xsputn(const char* text, std::streamsize size) override {
        m_pending.append(text, static_cast<std::size_t>(size));
        return size;
    }

    int sync() override {
        const bool isWritten = WriteAll(m_pending);
        m_pending.clear();
        return isWritten ? 0 : -1;
    }

    bool WriteAll(std::string_view text) {
        while (!text.empty()) {
            pollfd watched{m_file.Get(), POLLOUT, 0};
            // Who has not taken anything for long is not waited for each time.
            const int ready = poll(&watched, 1, m_isStuck ? 0 : PatienceMs);
            m_isStuck = ready == 0;
            if (m_isStuck) {
                return false;
            }
            // So many bytes do not block once a pipe is ready.
            const std::size_t count = std::min<std::size_t>(text.size(), PIPE_BUF);
            const ssize_t written = write(m_file.Get(), text.data(), count);
            if (written < 0 && errno != EINTR && errno != EAGAIN) {
                return false;
            }
            text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
        }
        return true;
    }

    Server::FileDescriptor m_file;
    std::string m_pending;
    bool m_isStuck = false;
};

}  // namespace

struct LineStream::State {
    explicit State(Server::FileDescriptor file) : buffer(std::move(file)) {}

    LineBuffer buffer;
    std::string path;
};

LineStream::LineStream(Standard stream)
    : std::ostream(nullptr),
      m_state(std::make_unique<State>(Server::FileDescriptor(
          fcntl(stream == Standard::Output ? STDOUT_FILENO : STDERR_FILENO, F_DUPFD_CLOEXEC, 0)))) {
    rdbuf(&m_state->buffer);
}

LineStream::LineStream(const std::string& path)
    : std::ostream(nullptr), m_state(std::make_unique<State>(OpenLog(path))) {
    m_state->path = path;
    rdbuf(&m_state->buffer);
}

LineStream::~LineStream() {
    flush();
}

void LineStream::Reopen() {
    m_state->buffer.Replace(OpenLog(m_state->path));
}

}  // namespace Service
