// Estimates the depth of a black picture by the runtime's C API alone, from the program's start to
// its end, as a peer of `learning depth`. Usage: BareRun DepthEstimation_2.6.onnx

#include "benchmarks/BareNetwork.h"

int main(int argc, char** argv) {
    Bare::Check(argc == 2, "usage: BareRun MODEL.onnx");
    Bare::Network(argv[1]).Run({"0", {1, 3, 224, 224}}, {"350", {1, 1, 224, 224}});
}
