// A program that links the library. Ends with 42.

#include "Learning/ModelCache.h"

int main() {
    return Learning::ModelCache::GetInstance().GetEP() == Learning::Model::Default ? 42 : 1;
}
