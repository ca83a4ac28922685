// The bytes of content as text.

#pragma once

#include "Server/Content.h"

#include <gtest/gtest.h>

#include <string>

namespace Service::Testing {

inline std::string GetText(const Server::Content& content) {
    std::string text(static_cast<std::size_t>(content.GetSize()), '\0');
    EXPECT_EQ(content.Read(0, text), text.size());
    return text;
}

}  // namespace Service::Testing
