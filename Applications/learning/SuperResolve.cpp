#include "Commands.h"
#include "Failure.h"
#include "Files.h"
#include "Samples.h"
#include "Tiles.h"

#include <algorithm>
#include <ostream>

namespace LearningApp {

namespace {

using namespace SuperResolution;  // NOLINT(google-build-using-namespace): a table of facts
using Kernel::Counted;
using Learning::Tensor;

/// Puts `over` on top of `under`. Deliberate: with a share of 1, `under` may be anything.
float Mix(float under, float over, float share) {
    return share < 1 ? under + share * (over - under) : over;
}

/// One row of tiles, joined from left to right: planar samples of the result.
struct Strip {
    Strip(int stripWidth, int stripHeight)
        : width(stripWidth),
          height(stripHeight),
          samples(std::size_t{3} * static_cast<std::size_t>(width) *
                  static_cast<std::size_t>(height)) {}

    float* GetRow(int channel, int y) {
        const auto row = static_cast<std::size_t>(channel) * static_cast<std::size_t>(height) +
                         static_cast<std::size_t>(y);
        return samples.data() + row * static_cast<std::size_t>(width);
    }

    int width;
    int height;
    std::vector<float> samples;
};

/// Enlarges a picture tile by tile and strip by strip: no more than two strips are held at a time.
class Enlarger {
public:
    Enlarger(const Host& host, const Raster::Picture& photo)
        : m_photo(photo),
          m_network(host.GetNetwork(ModelType::SuperResolution)),
          m_columns(photo.GetWidth(), TileSide, TileOverlap),
          m_rows(photo.GetHeight(), TileSide, TileOverlap),
          m_input(MakeTensor({1, 3, m_rows.GetTileSize(), m_columns.GetTileSize()})),
          m_output(
              MakeTensor({1, 3, Scale * m_rows.GetTileSize(), Scale * m_columns.GetTileSize()})),
          m_progress(
              host.StartProgress("super-resolve", m_columns.GetCount() * m_rows.GetCount())) {}

    /// Sets the colours of `result`, which is Scale times the size of the photo.
    void Run(Raster::Picture& result) {
        Strip strip(result.GetWidth(), Scale * m_rows.GetTileSize());
        Strip above = strip;
        for (int i = 0; i < m_rows.GetCount(); ++i) {
            FillStrip(i, strip);
            MixTop(above, Scale * m_rows.GetOverlap(i), strip);
            const int start = Scale * m_rows.GetStart(i);
            const bool isLast = i + 1 == m_rows.GetCount();
            const int end = isLast ? result.GetHeight() : Scale * m_rows.GetStart(i + 1);
            for (int y = start; y < end; ++y) {
                StoreRow(strip, y - start, result.GetRow(y));
            }
            std::swap(strip, above);
        }
    }

private:
    void FillStrip(int row, Strip& strip) {
        for (int i = 0; i < m_columns.GetCount(); ++i) {
            LoadTile(m_columns.GetStart(i), m_rows.GetStart(row));
            m_network.Run({{Input, m_input}}, {{Output, m_output}});
            PlaceTile(Scale * m_columns.GetStart(i), Scale * m_columns.GetOverlap(i), strip);
            m_progress.Advance();
        }
    }

    /// Fills the input from (left, top) on; beyond the photo its last row and column go on.
    void LoadTile(int left, int top) {
        const int width = m_columns.GetTileSize();
        const int right = m_photo.GetWidth() - 1;
        const RowSink write = WritePlanes(*m_input, Colours);
        std::vector<float> samples(std::size_t{3} * static_cast<std::size_t>(width));
        for (int y = 0; y < m_rows.GetTileSize(); ++y) {
            const std::uint8_t* row =
                m_photo.GetRow(std::min(top + y, m_photo.GetHeight() - 1)).data();
            for (int x = 0; x < width; ++x) {
                const auto column = static_cast<std::size_t>(std::min(left + x, right));
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    samples[channel * static_cast<std::size_t>(width) +
                            static_cast<std::size_t>(x)] =
                        ToSample(row[column * Raster::Picture::ChannelCount + channel]);
                }
            }
            write(y, samples);
        }
    }

    /// Lays the output over the strip from column `left` on, of which the first `overlap` are
    /// mixed.
    void PlaceTile(int left, int overlap, Strip& strip) const {
        const int tileWidth = Scale * m_columns.GetTileSize();
        const int width = std::min(tileWidth, strip.width - left);
        for (int channel = 0; channel < 3; ++channel) {
            for (int y = 0; y < strip.height; ++y) {
                float* const target = strip.GetRow(channel, y) + left;
                const auto start = static_cast<std::uint64_t>(channel * strip.height + y) *
                                   static_cast<std::uint64_t>(tileWidth);
                for (int x = 0; x < width; ++x) {
                    const float value =
                        m_output->GetValueAtIndexedSubscript(start + static_cast<std::uint64_t>(x));
                    target[x] = Mix(target[x], value, GetTileShare(x, overlap));
                }
            }
        }
    }

    /// Mixes the last `overlap` rows of `above` into the first of `strip`.
    static void MixTop(Strip& above, int overlap, Strip& strip) {
        for (int channel = 0; channel < 3; ++channel) {
            for (int y = 0; y < overlap; ++y) {
                const float share = GetTileShare(y, overlap);
                const float* const under = above.GetRow(channel, above.height - overlap + y);
                float* const target = strip.GetRow(channel, y);
                std::transform(under, under + strip.width, target, target,
                               [share](float a, float b) { return Mix(a, b, share); });
            }
        }
    }

    static void StoreRow(Strip& strip, int y, std::span<std::uint8_t> row) {
        for (int channel = 0; channel < 3; ++channel) {
            const float* const samples = strip.GetRow(channel, y);
            std::uint8_t* target = row.data() + channel;
            for (int x = 0; x < strip.width; ++x) {
                *target = ToByte(samples[x]);
                target += Raster::Picture::ChannelCount;
            }
        }
    }

    const Raster::Picture& m_photo;
    Network m_network;
    TileRow m_columns;
    TileRow m_rows;
    Counted<Tensor> m_input;
    Counted<Tensor> m_output;
    ProgressBar m_progress;
};

}  // namespace

void SuperResolve(const Host& host, const PhotoOptions& options) {
    CheckPictureTarget(options.output);
    const Raster::Picture photo = LoadPhoto(options.photo);
    const Size size{Scale * photo.GetWidth(), Scale * photo.GetHeight()};
    if (!Raster::Picture::IsSizeSupported(static_cast<std::uint64_t>(size.width),
                                          static_cast<std::uint64_t>(size.height))) {
        throw Failure("%1 is too large: the result would have %2 x %3 pixels", options.photo,
                      size.width, size.height);
    }
    Raster::Picture result(size.width, size.height);
    Enlarger(host, photo).Run(result);
    Resize(ReadAlpha(photo), size, [&result](int y, std::span<const float> row) {
        std::uint8_t* alpha = result.GetRow(y).data() + 3;
        for (const float sample : row) {
            *alpha = ToByte(sample);
            alpha += Raster::Picture::ChannelCount;
        }
    });
    SavePicture(result, options.output);
    host.GetOut() << "wrote " << options.output << ", " << size.width << " x " << size.height
                  << " pixels\n";
}

}  // namespace LearningApp
