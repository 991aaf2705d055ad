#include <cstdio>

int main() {
    std::puts("about to crash");
    std::fflush(stdout);
    volatile int* volatile nowhere = nullptr;  // volatile: nothing is to be optimised away
    *nowhere = 1;
}
