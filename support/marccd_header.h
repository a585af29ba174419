// The binary header of MarCCD frames: 3072 bytes behind a TIFF file's first 1024. Offsets are those in the file; the
// fields are 32-bit integers unless they say otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xrd::mar_ccd {

inline constexpr std::size_t kHeaderBegin = 1024;
inline constexpr std::size_t kHeaderEnd = 4096;

inline constexpr std::size_t kName = 1028;           // text: the format's name and what follows
inline constexpr std::size_t kByteOrder = 1052;      // the mark below when the first byte is the high one
inline constexpr std::size_t kSaturation = 1128;     // counts
inline constexpr std::size_t kOverflowCount = 1160;  // pixels
inline constexpr std::size_t kBeamX = 1668;          // 1/1000 pixel
inline constexpr std::size_t kBeamY = 1672;          // 1/1000 pixel
inline constexpr std::size_t kExposureTime = 1680;   // milliseconds
inline constexpr std::size_t kStartPhi = 1708;       // 1/1000 degree
inline constexpr std::size_t kDistance = 1720;       // micrometres
inline constexpr std::size_t kRotationRange = 1760;  // 1/1000 degree
inline constexpr std::size_t kPixelSizeX = 1796;     // nanometres
inline constexpr std::size_t kPixelSizeY = 1800;     // nanometres
inline constexpr std::size_t kWavelength = 1932;     // 1/100000 angstrom
inline constexpr std::size_t kAcquired = 2368;       // text: MMDDhhmmYYYY.ss

inline constexpr std::uint32_t kBigEndianMark = 4321;
inline constexpr std::string_view kFormatName = "MMX";

// The distance for read_mar_ccd that the header's replaces.
inline constexpr double kDistanceNotSet = -999.0;

}  // namespace xrd::mar_ccd
