// Times the download and installation of a model package. Usage: InstallBenchmark ADDRESS FOLDER
//
// The package is ADDRESS followed by Colourisation_2.6.zip. FOLDER has the model
// DepthEstimation_2.6.onnx, which is opened before: the inference runtime is loaded then. Prints
// the seconds, and by how many bytes the memory of the process grows at its peak.

#include "Learning/ModelCache.h"

#include "support/linux/ProcessStatus.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

using Learning::ModelCache;

void Check(bool isDone) {
    if (!isDone) {
        std::exit(1);  // the log has said why
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: InstallBenchmark ADDRESS FOLDER\n", stderr);
        return 2;
    }
    ModelCache& cache = ModelCache::GetInstance();
    cache.SetModelURLRoot(argv[1]);
    cache.SetModelCacheFolder(argv[2]);
    Check(static_cast<bool>(cache.GetModel(ModelCache::DepthEstimation)));

    std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts anew, see proc(5)
    const std::int64_t idle = Support::GetMemoryStatus("VmRSS:");
    const auto start = std::chrono::steady_clock::now();
    Check(cache.DownloadModel(ModelCache::Colourisation, {}));
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::printf("%.3f %lld\n", elapsed.count(),
                static_cast<long long>(Support::GetMemoryStatus("VmHWM:") - idle));
}
