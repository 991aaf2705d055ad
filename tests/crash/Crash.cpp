#include <cstdio>

int main() {
    std::puts("about to crash");
    std::fflush(stdout);
    volatile int* volatile nowhere = nullptr;  // volatile, so that nothing is optimised away
    *nowhere = 1;
}
