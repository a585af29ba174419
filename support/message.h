// Texts that messages share, byte for byte as callers parse them. German texts are ISO-8859-1.
#pragma once

#include <cstddef>

#include "support/conversation.h"

#define XRD_RED_ERROR "\033[31;1mERROR\033[0m"
#define XRD_PLAIN_ERROR "\033[0mERROR\033[0m"
#define XRD_RED_WARNING "\033[31;1mWARNING\033[0m"

namespace xrd {

// Kibibytes as the messages give them: truncated.
constexpr unsigned kibibytes(std::size_t bytes) {
  return static_cast<unsigned>(bytes >> 10);
}

// Prints how large the new pixel array is; `array` is its name for the user.
inline void print_allocated(std::size_t bytes, const char* array = "Daten") {
  print("# %u kB f\xFCr %s bereitgestellt\n", kibibytes(bytes), array);
}

}  // namespace xrd
