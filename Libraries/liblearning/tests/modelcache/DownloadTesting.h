// What the tests of downloads share: a tree of folders to look after, and a cache over it.

#pragma once

#include "Kernel/Testing.h"
#include "Learning/ModelCache.h"
#include "Network/Settings.h"

#include "support/Environment.h"
#include "support/TestFolder.h"
#include "support/TestServer.h"
#include "support/ZipBuilder.h"
#include "tests/TestModels.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <utility>

namespace Learning {

using Support::GetChecksum;
using Support::MakeZip;
using Support::ReadFile;
using Support::TestServer;
using Support::WriteFile;
using Support::ZipEntry;

/// All that lies below a folder, by its path there: what a file holds, "/" for a folder, "-> x" for
/// a link to x.
using Tree = std::map<std::string, std::string>;

inline Tree DescribeTree(const std::filesystem::path& folder) {
    Tree tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        tree[Support::FromPath(entry.path().lexically_relative(folder))] =
            entry.is_symlink()
                ? "-> " + Support::FromPath(std::filesystem::read_symlink(entry.path()))
            : entry.is_directory() ? "/"
                                   : ReadFile(entry.path());
    }
    return tree;
}

/// The package of this name, with one of the models that make_models.py writes.
inline std::string MakePackage(const char* model = "Add",
                               const char* package = "Colourisation_2.6") {
    return MakeZip({{std::string(package) + ".onnx", ReadFile(TestModelPath(model).c_str())}});
}

/// Whether the test takes its full length, which is minutes.
inline bool IsSoak() {
    return std::getenv("ORVANTIS_SOAK") != nullptr;
}

/// The shared cache over a folder of its own, with a folder for temporary files beside it.
class DownloadTest : public testing::Test {
protected:
    using ModelType = ModelCache::ModelType;
    static constexpr ModelType Type = ModelCache::Colourisation;

    DownloadTest() {
        std::filesystem::create_directory(m_models);
        std::filesystem::create_directory(m_temporary);
        SetTemporaryFolder(m_temporary);
        Network::SetProxy(Kernel::String());
        m_cache.SetModelCacheFolder(Support::FromPath(m_models));
    }
    ~DownloadTest() override {
        m_cache.Shutdown();
        m_cache.SetInferenceMode(ModelCache::CPU);
        m_cache.SetModelURLRoot({});
        SetTemporaryFolder(m_root.parent_path());
    }

    static void SetTemporaryFolder(const std::filesystem::path& folder) {
        for (const char* const name : {"TMPDIR", "TMP"}) {  // one for each system
            Support::SetEnvironment(name, Support::FromPath(folder));
        }
    }

    /// Downloads from a server that answers with `script`.
    bool Download(const Server::Script& script, ModelCache::DownloadProgress progress = {}) {
        const TestServer server(script);
        m_cache.SetModelURLRoot(server.GetAddress());
        return m_cache.DownloadModel(Type, std::move(progress));
    }
    bool DownloadPackage(const std::string& zip) { return Download(Server::Reply(200, {}, zip)); }

    bool HasTemporaryFile() const { return !std::filesystem::is_empty(m_temporary); }

    ModelCache& m_cache = ModelCache::GetInstance();
    const Support::TestFolder m_folder;
    const std::filesystem::path m_root = Support::ToPath(m_folder.At("")).parent_path();
    const std::filesystem::path m_models = m_root / "models";
    const std::filesystem::path m_temporary = m_root / "temporary";
    const std::string m_modelName = "Colourisation_2.6.onnx";
    const std::filesystem::path m_model = m_models / m_modelName;
    const Kernel::Testing::Recorded<Kernel::Log> m_log;
};

}  // namespace Learning
