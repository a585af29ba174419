// The loaders of the formats. Each gets the whole file, already decompressed; see frame.h.
//
// formats/ has another parser for most of them, on purpose: flat functions return what their callers have always had,
// loaders what the file says. Both take layouts and constants from one place (support/, mar345/, pack/).
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "frames/frame.h"

namespace frames {

// Whether the content has the format, by the bytes that every such file begins with.
bool is_adsc(Bytes file);
bool is_edf(Bytes file);
bool is_mar345(Bytes file);
bool is_mar_ccd(Bytes file);
bool is_packed(Bytes file);
bool is_saint(Bytes file);
bool is_tiff(Bytes file);

Frame load_adsc(Bytes file, const LoadOptions& options);
Frame load_edf(Bytes file, const LoadOptions& options);
Frame load_mar345(Bytes file, const LoadOptions& options);
Frame load_mar_ccd(Bytes file, const LoadOptions& options);
Frame load_packed(Bytes file, const LoadOptions& options);
Frame load_raw(Bytes file, const LoadOptions& options);
Frame load_saint(Bytes file, const LoadOptions& options);
Frame load_tiff(Bytes file, const LoadOptions& options);

// After how many bytes the rest of the file does not matter to the loader, given its front: at most so many of a
// compressed file are unpacked. Nothing if the front does not show it; the front may end anywhere.
std::optional<std::size_t> enough_of_adsc(Bytes front, const LoadOptions& options);
std::optional<std::size_t> enough_of_edf(Bytes front, const LoadOptions& options);
std::optional<std::size_t> enough_of_mar345(Bytes front, const LoadOptions& options);
std::optional<std::size_t> enough_of_packed(Bytes front, const LoadOptions& options);
std::optional<std::size_t> enough_of_raw(Bytes front, const LoadOptions& options);
std::optional<std::size_t> enough_of_saint(Bytes front, const LoadOptions& options);
std::optional<std::size_t> enough_of_tiff(Bytes front, const LoadOptions& options);

// The same of the file of that name, whatever its format.
std::optional<std::size_t> enough_of_file(Bytes front, const std::string& name, const LoadOptions& options);

// As much again, and more for small frames: files that have something behind the frame are checked to their end, too.
constexpr std::size_t with_room(std::size_t bytes) {
  constexpr std::size_t kRoom = std::size_t{1} << 18;
  return bytes > std::numeric_limits<std::size_t>::max() / 2 - kRoom ? std::numeric_limits<std::size_t>::max()
                                                                     : 2 * bytes + kRoom;
}

// The file as a stretch of characters, for headers.
std::string_view text_of(Bytes file);

// Reports damage: a LoadError, or with `force` a note in the frame.
void report_damage(Frame& frame, const LoadOptions& options, const std::string& damage);

// The number of pixels. LoadError for an invalid size.
std::size_t pixels_of_size(long long width, long long height);

// Sets the size and makes the counts, all 0, unless only the header is wanted. LoadError for an invalid size.
void set_size(Frame& frame, long long width, long long height, const LoadOptions& options);

// More images of a file are not counted.
inline constexpr std::size_t kMostImages = 65536;

// For a file with so many images: checks that it has the one asked for, and adds a note if the user has not chosen.
void choose_image(Frame& frame, std::size_t images, const LoadOptions& options);

}  // namespace frames
