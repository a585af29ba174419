// The loaders of the single formats, each given the whole file, already decompressed; see frame.h.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "host/frames/frame.h"

namespace frames {

using Bytes = std::span<const unsigned char>;

// Whether the content is of the format, by what every file of it begins with.
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

// The file as a stretch of characters, for headers.
std::string_view text_of(Bytes file);

// Damage of a file: a LoadError, or a note in the frame when the user wants the frame all the same.
void report_damage(Frame& frame, const LoadOptions& options, const std::string& damage);

// Sets the size and makes the counts, all 0. LoadError for a size that cannot be.
void set_size(Frame& frame, long long width, long long height);

// Marks a pixel's count as unknown.
void mark_unknown(Frame& frame, std::size_t pixel);

}  // namespace frames
