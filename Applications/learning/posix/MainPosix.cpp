#include "Main.h"

#include <algorithm>

int main(int argc, char** argv) {
    LearningApp::RunProgram({argv + std::min(argc, 1), argv + argc});
}
