extern "C" __attribute__((visibility("default"))) int absent() { return 1; }
