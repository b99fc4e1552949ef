// Makes configurations and runtime facts from the bytes of a fuzzer.
#ifndef TESSERA_TESTS_FUZZ_GENERATOR_H
#define TESSERA_TESTS_FUZZ_GENERATOR_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// A string to try, and the same string with harmless characters only: different strings stay different, empty ones stay
// empty, and punctuation that the mappers interpret stays in its place.
struct Variants {
  std::string hostile, tame;
};

struct Case {
  unsigned options;                                     // bits that choose other conditions of a run
  Variants document;                                    // JSON that the loader accepts
  std::vector<std::pair<std::string, Variants>> facts;  // runtime store: key and value
};

// The case that the bytes describe. Missing bytes read as 0.
Case generate(const uint8_t *bytes, size_t size);

#endif
