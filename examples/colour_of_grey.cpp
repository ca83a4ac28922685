#include "Learning/ModelCache.h"

#include <iostream>

int main(int argc, char** argv) {
    Learning::ModelCache& cache = Learning::ModelCache::GetInstance();
    cache.SetModelCacheFolder(argc > 1 ? argv[1] : "build/demo/models");
    const Kernel::Counted<Learning::Model> model =
        cache.GetModel(Learning::ModelCache::Colourisation);
    if (!model) {
        return 1;  // the log, on the standard error stream, says why
    }
    // One grey picture of 64 x 64 pixels in, its two planes of colour out. Nothing is copied.
    const auto luma = Kernel::MakeCounted<Learning::Tensor>({1, 1, 64, 64}, 0.5F);
    const auto chroma = Kernel::MakeCounted<Learning::Tensor>({1, 2, 64, 64});
    Learning::Model::TensorMap outputs{{"chroma", chroma}};
    if (!model->Execute({{"luma", luma}}, outputs)) {
        return 1;
    }
    std::cout << "Grey is Cb " << chroma->GetValueAtKeyedSubscript({0, 0, 32, 32}) << ", Cr "
              << chroma->GetValueAtKeyedSubscript({0, 1, 32, 32}) << '\n';
}
