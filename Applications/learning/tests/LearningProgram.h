// Running the program inside a test, in a folder of its own.

#pragma once

#include "Raster/DynamicBitmap.h"

#include "CommandLine.h"
#include "files/Files.h"
#include "support/Process.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace LearningApp::Testing {

using Support::Outcome;

inline Outcome RunBare(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = RunLearning(arguments, out, err);
    return {code, out.str(), err.str()};
}

/// With the networks that make_networks.py writes.
inline Outcome Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--models", TEST_MODELS});
    return RunBare(arguments);
}

/// As a process of its own, which speaks English if `command` changes no environment variable.
inline Outcome RunProgram(std::vector<std::string> arguments, Support::Command command = {}) {
    arguments.insert(arguments.begin(), LEARNING_PROGRAM);
    command.words = std::move(arguments);
    if (command.environment.empty()) {
        command.environment = {{"LC_ALL", "C"}};
    }
    return Support::RunProcess(command);
}

using Photo = Kernel::Counted<Raster::DynamicBitmap>;

/// A result of 8 bits a sample, as RGBA8.
inline Photo LoadResult(const std::string& path) {
    return LoadPhoto(path, PhotoUse::Colouring);
}

/// The red, green, blue and alpha of the pixel at (x, y).
using Paint = std::function<std::array<int, 4>(int x, int y)>;

inline std::array<int, 4> GetPixel(const Photo& photo, int x, int y) {
    const std::byte* const pixel = std::as_const(*photo).GetHostView().At(x, y);
    return {std::to_integer<int>(pixel[0]), std::to_integer<int>(pixel[1]),
            std::to_integer<int>(pixel[2]), std::to_integer<int>(pixel[3])};
}

/// Gives each test a folder of its own.
class InFolder : public testing::Test {
protected:
    std::string At(const std::string& name) const { return m_folder.At(name); }

    std::string MakeFile(const std::string& name, const std::string& content) const {
        return m_folder.Write(name, content);
    }

    std::set<std::string> GetFiles() const { return Support::GetNames(At("")); }

    std::string MakePhoto(int width, int height, const Paint& paint) const {
        Raster::DynamicBitmap picture(width, height);
        const Raster::PixelView view = picture.GetHostView();
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                std::ranges::transform(paint(x, y), view.At(x, y),
                                       [](int value) { return static_cast<std::byte>(value); });
            }
        }
        SavePicture(picture, At("photo.png"));
        return At("photo.png");
    }

private:
    const Support::TestFolder m_folder;
};

class WithGreyPhoto : public InFolder {
protected:
    std::string MakeGreyPhoto() const {
        return MakePhoto(8, 6, [](int, int) { return std::array{128, 128, 128, 255}; });
    }
};

}  // namespace LearningApp::Testing
