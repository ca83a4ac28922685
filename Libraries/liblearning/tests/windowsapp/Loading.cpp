// A program that loads the library by hand. Ends with 42, or with 43 if it can't be loaded.

#include <windows.h>

int main() {
    return LoadLibraryW(L"liblearning.dll") != nullptr ? 42 : 43;
}
