// A shared library for the tests of loading one.

extern "C" __attribute__((visibility("default"))) int AddOne(int n) { return n + 1; }
