#include "terminal/StatusLine.h"

#include <algorithm>
#include <ostream>

namespace LearningApp {

namespace {

constexpr const char* Wipe = "\r\x1B[K";  // to the start of the line, and erase it
constexpr const char* CutLines = "\x1B[?7l";
constexpr const char* WrapLines = "\x1B[?7h";

}  // namespace

StatusLine::~StatusLine() {
    Clear();
}

void StatusLine::Clear() const {
    if (m_terminal != nullptr) {
        *m_terminal << Wipe << std::flush;
    }
}

void StatusLine::Show(const std::string& text) const {
    if (m_terminal != nullptr) {
        *m_terminal << Wipe + (CutLines + text) + WrapLines << std::flush;
    }
}

std::string DrawBar(double done, double total, int width) {
    const double share = std::clamp(done / total, 0.0, 1.0);
    const auto filled = static_cast<std::size_t>(share * width);
    return '[' + std::string(filled, '#') +
           std::string(static_cast<std::size_t>(width) - filled, '.') + ']';
}

}  // namespace LearningApp
