// The function that each fuzz target defines. libFuzzer or the replay calls it.
#ifndef ZANDREL_FUZZ_FUZZ_TARGET_H_
#define ZANDREL_FUZZ_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>

// Handles one input, and ends the program if a property is broken. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#endif  // ZANDREL_FUZZ_FUZZ_TARGET_H_
