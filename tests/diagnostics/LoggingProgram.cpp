extern "C" __declspec(dllimport) bool blockWriter();

int main() { return blockWriter() ? 0 : 1; }
