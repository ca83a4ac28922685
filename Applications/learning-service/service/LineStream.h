// A stream of lines to a file or another process, which may go away.

#pragma once

#include <memory>
#include <ostream>
#include <string>

namespace Service {

/// Writes when it is flushed. What can't be written, because the disk is full or a pipe's reader
/// has left or takes nothing for a second, is dropped, and the stream fails until it is cleared.
class LineStream : public std::ostream {
public:
    enum class Standard { Output, Error };
    explicit LineStream(Standard stream);
    /// To the end of the file at `path`, which is made if there is none. Throws std::system_error
    /// if it can't be opened.
    explicit LineStream(const std::string& path);
    LineStream(const LineStream&) = delete;
    LineStream& operator=(const LineStream&) = delete;
    ~LineStream() override;

    /// Opens the file's path again, for it may have been renamed. Throws std::system_error, and
    /// goes on with the file that it has.
    void Reopen();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace Service
