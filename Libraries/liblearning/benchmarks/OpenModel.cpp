// Times the opening of models in a fresh process. Usage: OpenModel learning|bare MODEL.onnx
//
// Prints two numbers of microseconds: for the first model, with the loading of the runtime, and the
// median for later ones while the first stays open. "bare" does the same by the C API alone.

#include "Learning/Model.h"

#include "benchmarks/BareNetwork.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

template <class Work>
double MeasureMicroseconds(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::micro> elapsed =
        std::chrono::steady_clock::now() - start;
    return elapsed.count();
}

/// Prints the time of the first `open` and the median of those that follow.
template <class Open>
void Report(Open open) {
    const double first = MeasureMicroseconds(open);
    std::array<double, 41> later{};
    for (double& time : later) {
        time = MeasureMicroseconds(open);
    }
    std::nth_element(later.begin(), later.begin() + later.size() / 2, later.end());
    std::printf("%.0f %.0f\n", first, later[later.size() / 2]);
}

void OpenByLearning(const char* path) {
    std::vector<Kernel::Counted<Learning::Model>> models;
    Report([&] {
        models.push_back(Kernel::MakeCounted<Learning::Model>(std::vector<Kernel::String>{path},
                                                              Learning::Model::CPUOnly));
        Bare::Check(models.back()->IsValid(), "the model can't be opened");
    });
}

void OpenBare(const char* path) {
    // What is opened stays open until the process ends, as in the other case.
    std::vector<std::unique_ptr<Bare::Network>> models;
    Report([&] { models.push_back(std::make_unique<Bare::Network>(path)); });
}

}  // namespace

int main(int argc, char** argv) {
    Bare::Check(argc == 3, "usage: OpenModel learning|bare MODEL.onnx");
    if (std::strcmp(argv[1], "learning") == 0) {
        OpenByLearning(argv[2]);
    } else {
        OpenBare(argv[2]);
    }
}
