// Writes through a null pointer, which the compiler cannot see to be one.
int main() {
    int* volatile nowhere = nullptr;
    *nowhere = 1;
}
