// NumPy arrays, format 1.0: a header that is a Python dictionary, then the samples row by row.
#include <cstdio>
#include <string>
#include <string_view>

#include "frames/writers/samples.h"

namespace frames {

namespace {

const char* descriptor(SampleType type) {
  if (type == kUnsigned16) return "<u2";
  return type == kUnsigned32 ? "<u4" : "<i4";
}

// Magic, version, length and dictionary, which ends on a multiple of 64 bytes.
std::string header_text(const Frame& frame, SampleType type) {
  using namespace std::string_view_literals;
  constexpr std::string_view kMagicAndVersion = "\x93NUMPY\x01\x00"sv;
  constexpr std::size_t kLengthBytes = 2;
  constexpr std::size_t kAlignment = 64;
  std::string dictionary = "{'descr': '" + std::string(descriptor(type)) + "', 'fortran_order': False, 'shape': (" +
                           std::to_string(frame.height) + ", " + std::to_string(frame.width) + "), }";
  const std::size_t begin = kMagicAndVersion.size() + kLengthBytes;
  const std::size_t end = (begin + dictionary.size() + 1 + kAlignment - 1) / kAlignment * kAlignment;
  dictionary.resize(end - begin - 1, ' ');
  dictionary += '\n';
  std::string header(kMagicAndVersion);
  header += static_cast<char>(dictionary.size() % 256);
  header += static_cast<char>(dictionary.size() / 256);
  return header + dictionary;
}

}  // namespace

void write_npy(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks) {
  const SampleType type = fitting_type(frame, options, remarks);
  const std::string header = header_text(frame, type);
  std::fwrite(header.data(), 1, header.size(), stream);
  write_samples(frame, type, stream);
}

}  // namespace frames
