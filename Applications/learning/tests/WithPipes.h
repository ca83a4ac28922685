// A photo, and what the depth network makes of it, for tests of pipes.

#pragma once

#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

namespace LearningApp::Testing {

class WithPipes : public InFolder {
protected:
    void SetUp() override {
        MakePhoto(8, 6, [](int x, int y) { return std::array{x * 30, y * 40, 128, 255}; });
        ASSERT_EQ(Testing::Run({"depth", At("photo.png"), "-o", At("right.png")}).code, 0);
    }

    std::string ReadFile(const std::string& name) const { return Support::ReadFile(At(name)); }
};

}  // namespace LearningApp::Testing
