/* A tiny loadable module for the dynamic-loading tests. */
__attribute__((visibility("default"))) int fixture_answer(void) {
    return 42;
}

__attribute__((visibility("default"))) int fixture_add(int a, int b) {
    return a + b;
}
