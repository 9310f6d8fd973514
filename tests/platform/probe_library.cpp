// Loaded by name in the loader tests.
extern "C" __attribute__((visibility("default"))) int platform_probe_answer() {
    return 42;
}
