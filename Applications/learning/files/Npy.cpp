#include "files/Npy.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "files/Source.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <numeric>

namespace LearningApp {

static_assert(std::endian::native == std::endian::little, "floats are copied as they are");

namespace {

constexpr std::string_view Magic = "\x93NUMPY";
constexpr std::size_t MaximumHeaderSize = 65536;
constexpr std::size_t PieceSize = 16384;  // elements

/// Reads the header's Python dictionary, of which three entries matter.
class HeaderText {
public:
    HeaderText(std::string_view text, const std::string& path) : m_text(text), m_path(path) {}

    std::vector<int> ReadShape() const {
        if (const std::string_view type = FindValue("descr"); !type.starts_with("'<f4'")) {
            throw Failure("%1 does not hold 32-bit floats: save it as numpy.float32", m_path);
        }
        if (!FindValue("fortran_order").starts_with("False")) {
            throw Failure("%1 is in Fortran order: save numpy.ascontiguousarray() of it", m_path);
        }
        std::string_view rest = FindValue("shape");
        std::vector<int> shape;
        if (!rest.starts_with("(")) {
            ThrowBadHeader();
        }
        SkipSpace(rest.substr(1), rest);
        while (!rest.starts_with(")")) {
            shape.push_back(TakeNumber(rest));
            if (rest.starts_with(",")) {
                SkipSpace(rest.substr(1), rest);
            } else if (!rest.starts_with(")")) {
                ThrowBadHeader();
            }
        }
        return shape;
    }

private:
    [[noreturn]] void ThrowBadHeader() const {
        throw Failure("%1 is not a .npy file that can be read: its header is damaged", m_path);
    }

    static void SkipSpace(std::string_view text, std::string_view& rest) {
        rest = text.substr(std::min(text.find_first_not_of(' '), text.size()));
    }

    /// The text from the value of `key` on.
    std::string_view FindValue(std::string_view key) const {
        const std::string quoted = "'" + std::string(key) + "':";
        const std::size_t at = m_text.find(quoted);
        if (at == std::string_view::npos) {
            ThrowBadHeader();
        }
        std::string_view value;
        SkipSpace(m_text.substr(at + quoted.size()), value);
        return value;
    }

    int TakeNumber(std::string_view& rest) const {
        int number = 0;
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
        if (error != std::errc()) {
            ThrowBadHeader();
        }
        SkipSpace(rest.substr(static_cast<std::size_t>(end - rest.data())), rest);
        return number;
    }

    std::string_view m_text;
    const std::string& m_path;
};

/// Reads up to the first element.
std::string ReadHeader(Kernel::InStream& stream, const std::string& path) {
    std::array<char, 12> start{};
    const auto fill = [&](char* target, std::size_t size) {
        if (stream.ReadFully(std::as_writable_bytes(std::span(target, size))) != size) {
            throw Failure("%1 is not a whole .npy file", path);
        }
    };
    fill(start.data(), 10);
    const std::size_t sizeBytes = start[6] == 1 ? 2 : 4;  // by version
    if (std::string_view(start.data(), Magic.size()) != Magic || start[6] < 1 || start[6] > 3) {
        throw Failure("%1 is not a .npy file", path);
    }
    fill(start.data() + 10, sizeBytes - 2);
    std::uint32_t size = 0;
    std::memcpy(&size, start.data() + 8, sizeBytes);
    if (size > MaximumHeaderSize) {
        throw Failure("%1 has a header of %2 bytes, which is too long", path, size);
    }
    std::string header(size, '\0');
    fill(header.data(), header.size());
    return header;
}

std::string MakeHeader(const std::vector<int>& shape) {
    std::string dimensions;
    for (const int dimension : shape) {
        dimensions += std::to_string(dimension) + ",";
    }
    std::string text = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + dimensions + "), }";
    constexpr std::size_t Alignment = 64;  // of the first element, as NumPy writes it
    const std::size_t used = Magic.size() + 4 + text.size() + 1;
    text.append((Alignment - used % Alignment) % Alignment, ' ');
    text += '\n';
    const auto size = static_cast<std::uint16_t>(text.size());
    const std::array<char, 4> versionAndSize{1, 0, static_cast<char>(size & 0xFF),
                                             static_cast<char>(size >> 8)};
    return std::string(Magic) + std::string(versionAndSize.data(), versionAndSize.size()) + text;
}

}  // namespace

bool IsNpy(std::string_view start) {
    return start.starts_with(Magic);
}

Kernel::Counted<Learning::Tensor> LoadNpy(Source& source) {
    const std::string& name = source.GetName();
    const std::string header = ReadHeader(source, name);
    const std::vector<int> shape = HeaderText(header, name).ReadShape();
    const std::uint64_t count = CheckShape(shape, name);
    const auto refuseSize = [&] {
        throw Failure("%1 does not have the size that its shape %2 asks for", name,
                      ShapeToText(shape));
    };
    if (source.GetSize().value_or(count * sizeof(float)) < count * sizeof(float)) {
        refuseSize();  // before there is memory for it
    }
    auto tensor = Kernel::MakeCounted<Learning::Tensor>(shape);
    std::vector<float> piece(PieceSize);
    std::uint64_t done = 0;
    for (std::size_t size = PieceSize; size == PieceSize;) {
        const std::size_t bytes = source.ReadFully(std::as_writable_bytes(std::span(piece)));
        size = bytes / sizeof(float);
        if (bytes % sizeof(float) != 0 || size > count - done) {
            refuseSize();
        }
        for (std::size_t i = 0; i < size; ++i) {
            tensor->SetValueAtIndexedSubscript(done + i, piece[i]);
        }
        done += size;
    }
    if (done != count) {
        refuseSize();
    }
    return tensor;
}

void SaveNpy(const Learning::Tensor& tensor, const std::string& path) {
    const std::vector<int> shape = tensor.GetDimensions();
    const std::uint64_t count = CheckShape(shape, path);
    WriteWhole(path, [&](Kernel::OutStream& stream) {
        const std::string header = MakeHeader(shape);
        stream.Write(std::as_bytes(std::span(header)));
        std::vector<float> piece;
        for (std::uint64_t i = 0; i < count; ++i) {
            piece.push_back(tensor.GetValueAtIndexedSubscript(i));
            if (piece.size() == PieceSize || i + 1 == count) {
                stream.Write(std::as_bytes(std::span(piece)));
                piece.clear();
            }
        }
    });
}

std::string FindShapeFault(const std::vector<int>& shape) {
    constexpr std::uint64_t MaximumCount = std::uint64_t{1} << 28;
    std::uint64_t count = 1;
    for (const int dimension : shape) {
        if (dimension < 1) {
            return "a dimension of " + std::to_string(dimension);
        }
        count *= static_cast<std::uint64_t>(dimension);
        if (count > MaximumCount) {
            return "more than " + std::to_string(MaximumCount) + " elements";
        }
    }
    return {};
}

std::uint64_t CheckShape(const std::vector<int>& shape, const std::string& name) {
    if (const std::string fault = FindShapeFault(shape); !fault.empty()) {
        throw Failure("%1 has %2", name, fault);
    }
    return std::accumulate(shape.begin(), shape.end(), std::uint64_t{1},
                           [](std::uint64_t count, int dimension) {
                               return count * static_cast<std::uint64_t>(dimension);
                           });
}

std::string ShapeToText(const std::vector<int>& shape) {
    std::string text;
    for (const int dimension : shape) {
        text += (text.empty() ? "" : "x") + std::to_string(dimension);
    }
    return text.empty() ? "scalar" : text;
}

}  // namespace LearningApp
