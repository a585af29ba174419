// Memory passes that nothing on the same bytes can beat.
#pragma once

#include <cstddef>

namespace bench {

// Reads the bytes once.
void read_once(const void* bytes, std::size_t count);

// Sets the bytes once.
void write_once(void* bytes, std::size_t count);

}  // namespace bench
