/* A small shared object that tests copy into an exports directory under a loader's file name. */
#include <stdint.h>

__attribute__((visibility("default"))) int32_t TolmaFixtureAnswer(void) { return 42; }
