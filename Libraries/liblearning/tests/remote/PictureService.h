// A service that makes pictures, as tests tell it.

#pragma once

#include "Kernel/Json.h"
#include "Kernel/MemoryInOutStream.h"
#include "Raster/DynamicFile.h"
#include "Raster/JPEG.h"
#include "Raster/PNGBase.h"
#include "Raster/PixelAccessor.h"

#include "remote/pictures/ServicePictures.h"
#include "tests/remote/RemoteTest.h"

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace Learning {

using Kernel::Json::Value;
using Raster::DynamicBitmap;

inline constexpr const char* Job = R"({"generation_id":"J"})";
inline constexpr const char* Pending = R"({"status":"PENDING","images":["x"],"prompt":"not yet"})";

inline std::string ToText(const Kernel::MemoryInOutStream& stream) {
    const auto bytes = stream.GetBytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The pixel at (x, y) of a bitmap in RGBA8 as 0xRRGGBBAA.
inline std::uint32_t GetPixel(const DynamicBitmap& bitmap, int x, int y) {
    const Raster::ConstPixelAccessor pixels(bitmap);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(pixels.GetView().At(x, y));
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

/// Fills `rect` with a colour as GetPixel() returns it.
inline void Fill(DynamicBitmap& bitmap, const Raster::Rect& rect, std::uint32_t colour) {
    const Raster::PixelAccessor pixels(bitmap);
    for (int y = rect.top; y < rect.bottom; ++y) {
        for (int x = rect.left; x < rect.right; ++x) {
            for (int channel = 0; channel < 4; ++channel) {
                pixels.GetView().At(x, y)[channel] =
                    static_cast<std::byte>(colour >> (24 - 8 * channel));
            }
        }
    }
}

inline Picture MakePicture(int width, int height, std::uint32_t colour) {
    auto picture = Kernel::MakeCounted<DynamicBitmap>(width, height);
    Fill(*picture, picture->GetBounds(), colour);
    return picture;
}

inline std::string MakeJPEG(const DynamicBitmap& picture) {
    Kernel::MemoryInOutStream file;
    Raster::JPEGWriter writer(file, picture.GetWidth(), picture.GetHeight(),
                              picture.GetPixelFormat(), {});
    writer.WritePixels(picture.GetHostView());
    writer.Finish();
    return ToText(file);
}

inline std::string MakePNG(const DynamicBitmap& picture) {
    Kernel::MemoryInOutStream file;
    Raster::WritePNG(picture, file);
    return ToText(file);
}

/// What a text in a request holds: a file in base64.
inline std::string DecodeBase64(std::string_view text) {
    std::string bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char c : text.substr(0, text.find('='))) {
        constexpr std::string_view Alphabet =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        bits = bits << 6 | static_cast<std::uint32_t>(Alphabet.find(c));
        if ((count += 6) >= 8) {
            bytes += static_cast<char>(bits >> (count -= 8));
        }
    }
    return bytes;
}

inline Picture Decode(const std::string& file) {
    const auto bytes = std::as_bytes(std::span(file));
    Kernel::MemoryInOutStream stream({bytes.begin(), bytes.end()});
    return Raster::ReadPicture(stream, Raster::Format::RGBA8);
}

/// A document of 2000 by 2000 pixels.
class Helper final : public RemoteInferenceHelper {
public:
    bool ShouldExpand(const DynamicBitmap& picture) const override {
        return picture.GetWidth() == 100;
    }
    void PrepareRegion(DynamicBitmap& region, DynamicBitmap& mask) const override {
        ++prepared;
        EXPECT_EQ(region.GetBounds(), mask.GetBounds());
        EXPECT_EQ(mask.GetFormat(), Raster::Format::Alpha8);
        Fill(region, {0, 0, 40, 40}, 0x00FFFFFF);
        if (throws) {
            throw 7;
        }
    }
    void GetDocumentBounds(Kernel::RectT<int>& bounds,
                           const Raster::AffineTransform::Params&) const override {
        bounds = {0, 0, 2000, 2000};
    }

    mutable int prepared = 0;
    bool throws = false;
};

/// Tests of operations on pictures, with a service that answers from lists, and time that passes
/// 2,000 times as fast.
class PictureTest : public RemoteTest {
protected:
    PictureTest() {
        Serve([this](const Server::Request& request) { return Answer(request); });
    }
    ~PictureTest() override { m_server = nullptr; }

    /// A reply whose body is `text`; of another status if it starts with one, as "503 busy", and a
    /// connection that ends for "cut".
    static Server::Script MakeReply(const std::string& text) {
        if (text == "cut") {
            return {Server::Abort{}};
        }
        const int status = std::atoi(text.substr(0, 4).c_str());
        return status > 99 ? Server::Reply(status, {}, text) : Server::Reply(200, {}, text);
    }

    Server::Script Answer(const Server::Request& request) {
        const std::lock_guard lock(m_mutex);
        const std::string name = request.target.substr(request.target.rfind('/') + 1);
        m_asked.push_back(name);
        if (const auto file = m_files.find(name); file != m_files.end()) {
            return MakeReply(file->second);
        }
        if (request.method == "PUT") {
            m_uploaded = request.body;
            return Server::Reply(m_uploadStatus);
        }
        const Value body = Kernel::Json::Parse(request.body).value();
        if (name != "pollGeneration") {
            m_bodies.push_back(body);
            return MakeReply(m_replies[name]);
        }
        m_asked.back() = body["generation_id"].get<Kernel::String>();
        if (m_polls.empty()) {
            return MakeReply(R"({"status":"PENDING"})");
        }
        const std::string reply = m_polls.front();
        m_polls.pop_front();
        return MakeReply(reply);
    }

    /// The address of a file of the service, in quotation marks.
    static std::string Quote(const std::string& file) {
        return '"' + std::string(ServiceBaseUrl) + file + '"';
    }

    /// The waits of this thread so far, in milliseconds.
    std::string TakeWaits() {
        const std::vector<Kernel::Testing::ClockNote> notes = m_clock.GetNotes();
        std::string waits;
        for (; m_noteCount < notes.size(); ++m_noteCount) {
            if (notes[m_noteCount].thread == std::this_thread::get_id()) {
                waits += " " + std::to_string(notes[m_noteCount].duration.count());
            }
        }
        return waits;
    }
    std::vector<std::string> TakeAsked() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_asked, {});
    }

    std::mutex m_mutex;
    std::map<std::string, std::string> m_replies;  // by the operation
    std::deque<std::string> m_polls;               // then "PENDING" for ever
    std::map<std::string, std::string> m_files;    // by their names
    int m_uploadStatus = 200;
    std::string m_uploaded;
    std::vector<std::string> m_asked;  // operations, files, and for polls what they ask for
    std::vector<Value> m_bodies;       // of operations
    std::size_t m_noteCount = 0;
    Kernel::Testing::ScaledClock m_clock{2000};
    std::optional<Kernel::Testing::ScopedClock> m_fast{m_clock};
};

}  // namespace Learning
