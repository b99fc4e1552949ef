// Configurations and runtime facts out of the bytes of a fuzzer.
#ifndef TESSERA_TESTS_FUZZ_GENERATOR_H
#define TESSERA_TESTS_FUZZ_GENERATOR_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// A string in the form to be tried, and with nothing but harmless characters: different ones stay different, empty ones
// empty, and punctuation that the mappers look at stays where it was.
struct Variants {
  std::string hostile, tame;
};

struct Case {
  unsigned options;                                     // bits that choose what else there is in a run
  Variants document;                                    // JSON that the loader accepts
  std::vector<std::pair<std::string, Variants>> facts;  // runtime store: key and value
};

// The case that the bytes stand for. Bytes that are missing read as 0.
Case generate(const uint8_t *bytes, size_t size);

#endif
