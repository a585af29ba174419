// The writers of the single file formats. Each writes the whole file to a new, empty, seekable stream and gathers
// warnings. Write errors show in the stream's error state; any other failure is a std::runtime_error with one
// line without the path.
#pragma once

#include <cstdio>
#include <optional>

#include "frames/frame.h"
#include "frames/remarks.h"

namespace frames {

struct WriteOptions {
  std::optional<int> bits;  // 16 or 32 per pixel, if the user asks for it; each format has its own default
};

void write_adsc(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks);
void write_edf(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks);
// Always 16 bits, and overflow records for larger counts.
void write_mar345(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks);
void write_npy(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks);
// Always 16 bits.
void write_packed(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks);
void write_raw(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks);
void write_tiff(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks);

}  // namespace frames
