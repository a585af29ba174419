// Sizes that no image can have, for the readers of headers that state one.
#pragma once

#include <array>
#include <utility>

namespace test {

inline constexpr std::array<std::pair<int, int>, 10> kImpossibleSizes{{
    {-1, 5},
    {5, -1},
    {-3, -2},
    {100000, 100000},
    {65536, 65536},            // 2^32: zero in 32 bits
    {65537, 65536},            // 65536 in 32 bits
    {2147483647, 2147483647},  // 1 in 32 bits
    {16384, 16385},            // just above the largest image
    {2147483647, 1},
    {1, 2147483647},
}};

}  // namespace test
