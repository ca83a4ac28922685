#include "files/Pipes.h"

#include "Kernel/IoException.h"

#include "failures/Failure.h"
#include "files/Paths.h"
#include "files/SystemNames.h"
#include "terminal/StandardStreams.h"

#include <cerrno>
#include <fstream>
#include <iostream>

namespace LearningApp {

namespace {

/// For what the standard library's streams fail at: they leave the system's reason in errno.
Kernel::IoException MakeFailure(const char* action, const std::string& path) {
    return {action, path, {errno, std::generic_category()}};
}

template <class FileStream>
void OpenFile(FileStream& stream, const std::string& path) {
    stream.open(ToPath(path), std::ios::binary);
    if (!stream) {
        throw MakeFailure("open", path);
    }
}

class PipeInStream final : public Kernel::InStream {
public:
    explicit PipeInStream(const std::string& path)
        : m_path(path), m_stream(IsStandardStream(path) ? std::cin : m_file) {
        if (&m_stream == &m_file) {
            OpenFile(m_file, path);
        }
    }

    std::size_t Read(std::span<std::byte> buffer) override {
        m_stream.read(reinterpret_cast<char*>(buffer.data()),
                      static_cast<std::streamsize>(buffer.size()));
        if (m_stream.bad()) {
            throw MakeFailure("read", m_path);
        }
        return static_cast<std::size_t>(m_stream.gcount());
    }

private:
    const std::string m_path;
    std::ifstream m_file;
    std::istream& m_stream;
};

class PipeOutStream final : public Kernel::OutStream {
public:
    explicit PipeOutStream(const std::string& path)
        : m_path(path), m_stream(IsStandardStream(path) ? std::cout : m_file) {
        if (&m_stream == &m_file) {
            OpenFile(m_file, path);
        }
    }

    void Write(std::span<const std::byte> bytes) override {
        Check(m_stream.write(reinterpret_cast<const char*>(bytes.data()),
                             static_cast<std::streamsize>(bytes.size())));
    }

    void Flush() override { Check(m_stream.flush()); }

private:
    void Check(const std::ostream& stream) const {
        if (!stream) {
            throw MakeFailure("write", m_path);
        }
    }

    const std::string m_path;
    std::ofstream m_file;
    std::ostream& m_stream;
};

}  // namespace

bool IsStandardStream(const std::string& path) {
    return path == "-";
}

bool IsPipe(const std::string& path) {
    return IsStandardStream(path) || IsDevice(path);
}

Kernel::Counted<Kernel::InStream> OpenPipe(const std::string& path) {
    if (IsStandardStream(path) && IsInputTerminal()) {
        throw WrongUse("- is the standard input, and that is the terminal: send it a file");
    }
    return Kernel::MakeCounted<PipeInStream>(path);
}

Kernel::Counted<Kernel::OutStream> CreatePipe(const std::string& path) {
    return Kernel::MakeCounted<PipeOutStream>(path);
}

void CheckPipeTarget(const std::string& path) {
    if (IsStandardStream(path) && IsOutputTerminal()) {
        throw WrongUse(
            "- is the standard output, and that is the terminal: send it to a file or a program");
    }
}

}  // namespace LearningApp
