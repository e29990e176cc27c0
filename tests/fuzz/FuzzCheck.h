#ifndef TARNWICK_TESTS_FUZZ_FUZZCHECK_H
#define TARNWICK_TESTS_FUZZ_FUZZCHECK_H

#include <cstdio>
#include <cstdlib>

// A property every input must keep. A broken one aborts, which the fuzzer records as a crash with the
// input that caused it.
inline void fuzzRequire(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "property broken: %s\n", what);
        std::abort();
    }
}

#endif
