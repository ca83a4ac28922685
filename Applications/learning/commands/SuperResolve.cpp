#include "Learning/TensorImages.h"
#include "Raster/Pipeline.h"

#include "commands/Commands.h"
#include "commands/PhotoCommand.h"
#include "failures/Failure.h"
#include "files/Files.h"
#include "networks/Tiles.h"

#include <algorithm>

namespace LearningApp {

namespace {

using namespace SuperResolution;  // NOLINT(google-build-using-namespace): a table of facts
using Kernel::Counted;
using Learning::Tensor;
using Area = Kernel::RectT<double>;

/// Puts `over` on top of `under`. Deliberate: with a share of 1, `under` may be anything.
float Mix(float under, float over, float share) {
    return share < 1 ? under + share * (over - under) : over;
}

/// Enlarges a picture tile by tile and strip by strip: no more than two strips are held at a time.
class Enlarger {
public:
    Enlarger(const Host& host, const Network& network, const Raster::DynamicBitmap& photo,
             const PhotoColours& colours)
        : m_photo(photo),
          m_colours(colours),
          m_network(network),
          m_columns(photo.GetWidth(), TileSide, TileOverlap),
          m_rows(photo.GetHeight(), TileSide, TileOverlap),
          m_input(MakeTensor({1, 3, m_rows.GetTileSize(), m_columns.GetTileSize()})),
          m_output(
              MakeTensor({1, 3, Scale * m_rows.GetTileSize(), Scale * m_columns.GetTileSize()})),
          m_progress(
              host.StartProgress("super-resolve", m_columns.GetCount() * m_rows.GetCount())) {}

    /// Fills `result`, which is Scale times the size of the photo, with opaque colours.
    void Run(Raster::DynamicBitmap& result) {
        // One row of tiles, joined from left to right, and the one above it.
        Tensor strip({3, Scale * m_rows.GetTileSize(), result.GetWidth()});
        Tensor above(strip.GetDimensions());
        for (int i = 0; i < m_rows.GetCount(); ++i) {
            FillStrip(i, strip);
            MixTop(above, Scale * m_rows.GetOverlap(i), strip);
            const int start = Scale * m_rows.GetStart(i);
            const bool isLast = i + 1 == m_rows.GetCount();
            const int end = isLast ? result.GetHeight() : Scale * m_rows.GetStart(i + 1);
            Learning::ReadTensorCHW(strip, result, MapRows(start, end, result.GetWidth()));
            std::swap(strip, above);
        }
    }

private:
    /// Rows 0 and so on of a strip are rows `start` to `end` of the result.
    Learning::TensorMapping MapRows(int start, int end, int width) const {
        return {.tensorArea = Raster::Rect{0, 0, width, end - start},
                .pictureArea = Area{0, 1.0 * start, 1.0 * width, 1.0 * end},
                .stages = m_colours.toPhoto};
    }

    static std::uint64_t GetRow(const Tensor& planes, int channel, int y) {
        const std::vector<int> shape = planes.GetDimensions();
        const auto row =
            static_cast<std::uint64_t>(channel) * static_cast<std::uint64_t>(shape.end()[-2]) +
            static_cast<std::uint64_t>(y);
        return row * static_cast<std::uint64_t>(shape.end()[-1]);
    }

    void FillStrip(int row, Tensor& strip) {
        for (int i = 0; i < m_columns.GetCount(); ++i) {
            LoadTile(m_columns.GetStart(i), m_rows.GetStart(row));
            m_network.Run({{Input, m_input}}, {{Output, m_output}});
            PlaceTile(Scale * m_columns.GetStart(i), Scale * m_columns.GetOverlap(i), strip);
            m_progress.Advance();
        }
    }

    /// Fills the input with the photo from (left, top) on. A side that is odd lacks a sample: there
    /// the photo's last row or column comes twice, left over from a first round one sample further.
    void LoadTile(int left, int top) {
        const int width = std::min(m_columns.GetTileSize(), m_photo.GetWidth());
        const int height = std::min(m_rows.GetTileSize(), m_photo.GetHeight());
        const Area area{1.0 * left, 1.0 * top, 1.0 * left + width, 1.0 * top + height};
        for (int y = m_rows.GetTileSize() - height; y >= 0; --y) {
            for (int x = m_columns.GetTileSize() - width; x >= 0; --x) {
                Learning::FillTensorCHW(*m_input, m_photo,
                                        {.tensorArea = Raster::Rect{x, y, x + width, y + height},
                                         .pictureArea = area,
                                         .stages = m_colours.toNetwork});
            }
        }
    }

    /// Lays the output over the strip from column `left` on, of which the first `overlap` are
    /// mixed.
    void PlaceTile(int left, int overlap, Tensor& strip) const {
        const std::vector<int> shape = strip.GetDimensions();
        const int width = std::min(Scale * m_columns.GetTileSize(), shape[2] - left);
        for (int row = 0; row < 3 * shape[1]; ++row) {
            std::uint64_t from = GetRow(*m_output, 0, row);
            std::uint64_t to = GetRow(strip, 0, row) + static_cast<std::uint64_t>(left);
            for (int x = 0; x < width; ++x, ++from, ++to) {
                strip.SetValueAtIndexedSubscript(
                    to, Mix(strip.GetValueAtIndexedSubscript(to),
                            m_output->GetValueAtIndexedSubscript(from), GetTileShare(x, overlap)));
            }
        }
    }

    /// Mixes the last `overlap` rows of `above` into the first of `strip`.
    static void MixTop(const Tensor& above, int overlap, Tensor& strip) {
        const std::vector<int> shape = strip.GetDimensions();
        for (int channel = 0; channel < 3; ++channel) {
            for (int y = 0; y < overlap; ++y) {
                const float share = GetTileShare(y, overlap);
                std::uint64_t from = GetRow(above, channel, shape[1] - overlap + y);
                std::uint64_t to = GetRow(strip, channel, y);
                for (int x = 0; x < shape[2]; ++x, ++from, ++to) {
                    strip.SetValueAtIndexedSubscript(
                        to, Mix(above.GetValueAtIndexedSubscript(from),
                                strip.GetValueAtIndexedSubscript(to), share));
                }
            }
        }
    }

    const Raster::DynamicBitmap& m_photo;
    const PhotoColours& m_colours;
    const Network& m_network;
    TileRow m_columns;
    TileRow m_rows;
    Counted<Tensor> m_input;
    Counted<Tensor> m_output;
    ProgressBar m_progress;
};

/// The network takes no alpha, which is resampled by the default filter.
void JoinAlpha(const Raster::DynamicBitmap& photo, Raster::DynamicBitmap& result) {
    Raster::Rendering rendering;
    rendering.transform = Raster::AffineTransform::Params::Scale(Scale, Scale);
    rendering.blend = Raster::Blend::JoinAlpha;
    Raster::Pipeline<Raster::DynamicBitmap, Raster::DynamicBitmap>::Run(
        result, photo, nullptr, result.GetBounds(), rendering);
}

}  // namespace

void SuperResolve(const Host& host, const PhotoTask& task) {
    const auto [photo, colours, network] = Begin(host, task, ModelType::SuperResolution);
    const int width = Scale * photo->GetWidth();
    const int height = Scale * photo->GetHeight();
    if (!IsPictureSize(width, height)) {
        throw Failure("%1 is too large: the result would have %2 x %3 pixels", task.photo, width,
                      height);
    }
    const auto result = MakePicture(width, height, photo->GetFormat());
    result->SetProfile(photo->GetProfile());
    Enlarger(host, network, *photo, colours).Run(*result);
    JoinAlpha(*photo, *result);
    Finish(host, task, *result, Kernel::Format(", %1 x %2 pixels", width, height));
}

}  // namespace LearningApp
