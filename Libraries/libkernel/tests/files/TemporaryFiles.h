// A place for the temporary files of tests.

#pragma once

#include "Kernel/Environment.h"

#include "support/Environment.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

namespace Kernel::FileSystem {

/// A folder that holds the temporary files of this process for as long as it lives.
class TemporaryFiles : public testing::Test {
protected:
    TemporaryFiles() { SetFolder(m_folder.At("")); }
    ~TemporaryFiles() override {
        for (const auto& [name, value] : m_before) {
            Support::SetEnvironment(name, value);
        }
    }

    void SetFolder(const std::string& path) {
        for (const char* const name : {"TMPDIR", "TMP"}) {  // one for each system
            const std::optional<String> value = GetEnv(name);
            m_before.try_emplace(name, value ? std::optional(value->c_str()) : std::nullopt);
            Support::SetEnvironment(name, path);
        }
    }

    Support::TestFolder m_folder;

private:
    std::map<std::string, std::optional<std::string>> m_before;
};

}  // namespace Kernel::FileSystem
