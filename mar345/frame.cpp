// mar345 image plate files: binary header, overflow records and a CCP4-packed image.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>

#include "mar345/binary_header.h"
#include "pack/decoder.h"
#include "support/assertion.h"
#include "support/conversation.h"
#include "support/files.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/pixels.h"
#include "support/reading.h"
#include "xrdimage.h"

namespace {

// Values from the limit on are saturated. That of the older layout, 65356, is not a typing error: callers rely on it.
constexpr int kNewLayoutLimit = 256000;
constexpr int kOldLayoutLimit = 65356;

using xrd::mar345::kRecordBytes;

struct Size {
  int width;
  int height;
  std::int64_t pixels() const { return std::int64_t{width} * height; }
};

// A caller's array of signed pixels.
struct SignedImage {
  int* pixels;
  Size size;
};

// The binary header, the value from which on a pixel is saturated, and the replacement for negative values: -1
// itself, or the overflow mark.
struct Layout {
  bool is_new;
  bool swapped;
  int overflow_count;
  int limit;
  bool marks_negatives;

  int shown(int value) const { return value < 0 && marks_negatives ? static_cast<int>(OVERFLOW_MARK) : value; }
};

void print_cannot_allocate(const Size& size, const char* path) {
  xrd::print("ERROR> Cannot allocate %d x %d pixels for %s\n", size.width, size.height, path);
}

// Decodes as much of the file's packed image as fits into `image`. Returns the number of pixels.
std::size_t read_packed(std::span<short> image, const char* path, xrd::Held held) {
  const auto pixels = xrd::unpack_file(path, image, held);
  if (!pixels) xrd::print("ERROR> %s does not exist.", path);
  return pixels.value_or(0);
}

// Merges one record; a saturated value becomes -1, in the record too.
void merge_record(const SignedImage& image, int* record, const Layout& layout) {
  const int position = record[0];
  if (position <= 0) return;
  if (record[1] >= layout.limit) record[1] = -1;
  const auto pixel = xrd::mar345::record_pixel(position, image.size.width, image.size.height, layout.is_new);
  if (pixel) image.pixels[*pixel] = layout.shown(record[1]);
}

// Reads overflow records from a stream in blocks, and never past the last one.
class RecordReader {
 public:
  RecordReader(std::FILE* stream, int count) : stream_(stream), unread_(count) {}

  // Copies the next record to `record`; if the last record is cut short, what is left of it. False if it was cut.
  bool next(int* record) {
    if (position_ == available_) fetch();
    const std::size_t bytes = std::min(kRecordBytes, available_ - position_);
    std::memcpy(record, block_.data() + position_, bytes);
    position_ += bytes;
    return bytes == kRecordBytes;
  }

 private:
  static constexpr int kBlockRecords = 512;

  void fetch() {
    const int records = std::min(unread_, kBlockRecords);
    unread_ -= records;
    position_ = 0;
    available_ = xrd::read_bytes(block_.data(), static_cast<std::size_t>(records) * kRecordBytes, stream_);
  }

  std::FILE* stream_;
  int unread_;
  std::array<unsigned char, kBlockRecords * kRecordBytes> block_{};
  std::size_t position_ = 0;
  std::size_t available_ = 0;
};

void merge_overflows(const SignedImage& image, int* record, std::FILE* stream, const Layout& layout) {
  RecordReader records(stream, layout.overflow_count);
  for (int read = 0; read < layout.overflow_count; ++read) {
    if (!records.next(record)) {
      // The printed number is that of the missing record plus one; callers rely on it.
      xrd::print("WARNING> cannot read overflow pixel # %lld!\n", read + 2LL);
      xrd::print("         Overflow pixel will be ignored\n");
      return;
    }
    if (layout.swapped) swapword(record, kRecordBytes);
    merge_record(image, record, layout);
  }
}

// Decodes the packed image and merges the overflow records into it. The packed samples wait in the image's upper half.
void read_and_merge(const SignedImage& image, int* record, const char* path, std::FILE* stream, const Layout& layout) {
  const Size& size = image.size;
  const std::span<int> pixels(image.pixels, static_cast<std::size_t>(size.pixels()));
  const std::span<short> samples = xrd::sample_half(pixels);
  std::ranges::fill(samples.subspan(read_packed(samples, path, xrd::Held::kNothing)), short{0});
  xrd::widen_samples(pixels, [limit = layout.limit, saturated = layout.shown(-1)](int sample) {
    return sample < limit ? sample : saturated;
  });
  std::fseek(stream, xrd::mar345::overflow_offset(layout.is_new, size.width, size.height), SEEK_SET);
  merge_overflows(image, record, stream, layout);
}

}  // namespace

extern "C" int gethead(int* new_layout, FILE* stream, int* size, int* swapped, int* overflow_count) {
  namespace mar345 = xrd::mar345;
  mar345::Words words{};
  if (xrd::read_bytes(words.data(), sizeof words, stream) < sizeof words) {
    xrd::print("ERROR> Cannot read header\n");
  }
  *swapped = mar345::is_swapped(words) ? 1 : 0;
  if (*swapped != 0) swapword(words.data(), sizeof words);
  if (!mar345::is_sane(words)) xrd::print("ERROR> Something wrong with header: \n");

  *new_layout = mar345::is_new_layout(words) ? 1 : 0;
  *overflow_count = mar345::overflow_count(words);
  *size = mar345::frame_size(words);
  return std::fseek(stream, mar345::overflow_offset(*new_layout != 0, words[0], words[0]), SEEK_SET);
}

extern "C" void readpck(short* image, const char* path) {
  read_packed(xrd::unbounded(image), path, xrd::Held::kCallers);
}

extern "C" void int_getpck(int* image, int* record, short /*unused1*/, int /*unused2*/, const char* path,
                           int new_layout, FILE* stream, int width, int height, int overflow_count, int swapped,
                           int limit) {
  const Size size{width, height};
  if (!xrd::allocatable_pixels(width, height)) {
    print_cannot_allocate(size, path);
    return;
  }
  read_and_merge({image, size}, record, path, stream, {new_layout != 0, swapped != 0, overflow_count, limit, false});
}

extern "C" int new_read_pck(const char* path, unsigned int** Daten, int* x, int* y) {
  // Callers rely on the stream staying open for the life of the process.
  std::FILE* stream = xrd::leave_open(xrd::open_file(path, "r"));
  if (stream == nullptr) return 0;
  int new_layout = 0;
  int size = 0;
  int swapped = 0;
  int overflow_count = 0;
  gethead(&new_layout, stream, &size, &swapped, &overflow_count);

  const auto pixels = xrd::allocatable_pixels(size, size);
  if (!pixels) {
    print_cannot_allocate({size, size}, path);
    return 0;
  }
  auto image = xrd::allocate_unset<unsigned int>(*pixels);
  if (!image) {
    xrd::fail_assertion("(*Daten)=(unsigned int*) malloc(sizeof(unsigned int)**x**y)", "pck_format", 156,
                        "new_read_pck");
  }
  // The signed values are merged in the array that is handed over.
  std::array<int, 2> record{};
  const Layout layout{new_layout != 0, swapped != 0, overflow_count,
                      new_layout != 0 ? kNewLayoutLimit : kOldLayoutLimit, true};
  read_and_merge({reinterpret_cast<int*>(image.get()), {size, size}}, record.data(), path, stream, layout);
  *x = size;
  *y = size;
  *Daten = image.release();
  return 1;
}
