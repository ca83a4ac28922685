#include "PixelRows.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <iterator>

namespace PixelPeers {

namespace {

cv::Mat GetMatrix(const Bytes& bytes, Size size, int type, std::size_t plane = 0) {
    cv::Mat whole(size.height, size.width, type, bytes.As<std::byte>());
    whole.data += plane * whole.total() * whole.elemSize();
    return whole;
}

Peer ConvertSamples(const char* row, int from, int to, double scale) {
    return {"OpenCV", row, InPlace([=](const Task& task) {
                cv::Mat destination = GetMatrix(task.destination, task.size, to);
                GetMatrix(task.source, task.size, from).convertTo(destination, to, scale);
            })};
}

void SplitPlanes(const Task& task) {
    static std::vector<cv::Mat> planes;
    cv::split(GetMatrix(task.source, task.size, CV_8UC4), planes);
    for (std::size_t i = 0; i < 3; ++i) {
        cv::Mat plane = GetMatrix(task.destination, task.size, CV_32FC1, i);
        planes[i].convertTo(plane, CV_32F, 1 / 255.0);
    }
}

void MergePlanes(const Task& task) {
    static std::vector<cv::Mat> planes(4);
    for (std::size_t i = 0; i < 3; ++i) {
        GetMatrix(task.source, task.size, CV_32FC1, i).convertTo(planes[i], CV_8U, 255);
    }
    planes[3].create(planes[0].size(), CV_8UC1);
    planes[3].setTo(255);
    cv::Mat destination = GetMatrix(task.destination, task.size, CV_8UC4);
    cv::merge(planes, destination);
}

void ConvertToGrey(const Task& task) {
    static cv::Mat grey;
    const cv::Mat source = GetMatrix(task.source, task.size, CV_8UC4);
    cv::cvtColor(source, grey, cv::COLOR_RGBA2GRAY);
    cv::Mat destination = GetMatrix(task.destination, task.size, CV_8UC2);
    const cv::Mat sources[] = {grey, source};
    const int pairs[] = {0, 0, 4, 1};
    cv::mixChannels(sources, 2, &destination, 1, pairs, 2);
}

void ReduceArea(const Task& task) {
    cv::Mat destination = GetMatrix(task.destination, task.target, CV_8UC4);
    cv::resize(GetMatrix(task.source, task.size, CV_8UC4), destination, destination.size(), 0, 0,
               cv::INTER_AREA);
}

void FindAlphaBox(const Task& task) {
    static cv::Mat alpha;
    cv::extractChannel(GetMatrix(task.source, task.size, CV_8UC4), alpha, 3);
    const cv::Rect box = cv::boundingRect(alpha);
    int* const edges = task.destination.As<int>();
    edges[0] = box.x;
    edges[1] = box.y;
    edges[2] = box.x + box.width;
    edges[3] = box.y + box.height;
}

/// Reduced by means of areas first, since warpAffine() only looks at the four nearest pixels.
Peer Turn(const TurnRow& row) {
    const double scale = row.scale;
    return {"OpenCV", row.name, InPlace([scale](const Task& task) {
                static cv::Mat reduced;
                cv::Mat source = GetMatrix(task.source, task.size, CV_8UC4);
                Size size = task.size;
                if (scale < 1) {
                    size = {static_cast<int>(std::lround(size.width * scale)),
                            static_cast<int>(std::lround(size.height * scale))};
                    cv::resize(source, reduced, cv::Size(size.width, size.height), 0, 0,
                               cv::INTER_AREA);
                    source = reduced;
                }
                // Pixels lie at whole coordinates here.
                const PlaneMap map = MakeTurn(1, size, task.target);
                const cv::Matx23d matrix(map.xx, map.xy, map.dx + (map.xx + map.xy - 1) / 2, map.yx,
                                         map.yy, map.dy + (map.yx + map.yy - 1) / 2);
                cv::Mat destination = GetMatrix(task.destination, task.target, CV_8UC4);
                cv::warpAffine(source, destination, matrix, destination.size());
            })};
}

}  // namespace

std::vector<Peer> GetOpenCVPeers() {
    cv::setNumThreads(GetThreadCount());
    std::vector<Peer> peers{ConvertSamples("RGBA8ToRGBAF", CV_8UC4, CV_32FC4, 1 / 255.0),
                            ConvertSamples("RGBAFToRGBA8", CV_32FC4, CV_8UC4, 255),
                            ConvertSamples("RGBA16ToRGBA8", CV_16UC4, CV_8UC4, 1 / 257.0),
                            ConvertSamples("RGBA8ToRGBA16", CV_8UC4, CV_16UC4, 257),
                            {"OpenCV", "RGBA8ToPlanar", InPlace(SplitPlanes)},
                            {"OpenCV", "PlanarToRGBA8", InPlace(MergePlanes)},
                            {"OpenCV", "RGBA8ToGreyA8", InPlace(ConvertToGrey)},
                            {"OpenCV", "ReduceArea", InPlace(ReduceArea)},
                            {"OpenCV", "RenderForService", InPlace(ReduceArea)},
                            {"OpenCV", "AlphaBoxOfNothing", InPlace(FindAlphaBox)},
                            {"OpenCV", "AlphaBoxOfIsland", InPlace(FindAlphaBox)},
                            {"OpenCV", "AlphaBoxOfAll", InPlace(FindAlphaBox)}};
    std::ranges::transform(TurnRows, std::back_inserter(peers), Turn);
    return peers;
}

}  // namespace PixelPeers
