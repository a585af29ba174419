#include "frames/readers/tiff_directory.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <unordered_set>

#include "frames/bytes.h"
#include "frames/readers/header_items.h"

namespace frames {

namespace {

// Files with 64-bit offsets have larger fields in the same order.
struct Layout {
  std::size_t first;   // where the offset of the first directory is
  std::size_t offset;  // bytes of an offset, and of an entry's number of values
  std::size_t count;   // bytes of a directory's number of entries
  std::size_t entry;
};

constexpr Layout kClassic{4, 4, 2, 12};
constexpr Layout kBig{8, 8, 8, 20};

bool is_big_endian(Bytes file) {
  return text_of(file).starts_with('M');
}

const Layout& layout_of(Bytes file) {
  constexpr std::uint16_t kBigMark = 43;
  return number_at<std::uint16_t>(file, 2, is_big_endian(file)) == kBigMark ? kBig : kClassic;
}

std::uint64_t number_of(Bytes file, std::size_t offset, std::size_t bytes) {
  const bool big_endian = is_big_endian(file);
  if (bytes == 1) return number_at<std::uint8_t>(file, offset, big_endian);
  if (bytes == 2) return number_at<std::uint16_t>(file, offset, big_endian);
  if (bytes == 4) return number_at<std::uint32_t>(file, offset, big_endian);
  return number_at<std::uint64_t>(file, offset, big_endian);
}

// Bytes of a value by its type; 8 for unknown types.
std::size_t value_size(std::uint64_t type) {
  constexpr std::array<std::size_t, 14> kSizes{8, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
  return type < kSizes.size() ? kSizes[static_cast<std::size_t>(type)] : 8;
}

// More than any file has. Numbers of bytes are capped here, so that no sum wraps.
constexpr std::uint64_t kEndless = std::uint64_t{1} << 40;

struct Entry {
  std::uint16_t tag = 0;
  std::uint64_t type = 0;
  std::size_t value_size = 0;
  std::uint64_t values = 0;
  std::uint64_t bytes = 0;
  std::uint64_t begin = 0;  // of the values
};

// The entry at that place, which is in the file.
Entry entry_at(Bytes file, const Layout& layout, std::size_t at) {
  Entry entry;
  entry.tag = static_cast<std::uint16_t>(number_of(file, at, 2));
  entry.type = number_of(file, at + 2, 2);
  entry.value_size = value_size(entry.type);
  entry.values = std::min(number_of(file, at + 4, layout.offset), kEndless);
  entry.bytes = std::min(entry.values * entry.value_size, kEndless);
  const std::size_t field = at + 4 + layout.offset;
  entry.begin = entry.bytes <= layout.offset ? field : std::min(number_of(file, field, layout.offset), kEndless);
  return entry;
}

template <typename Real>
std::string shortest_text(Real number) {
  std::array<char, 32> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
  return {text.data(), result.ptr};
}

// The value of a number at that place, which is in the file.
std::string number_text(Bytes file, const Entry& entry, std::size_t at) {
  const bool big_endian = is_big_endian(file);
  switch (entry.type) {
    case TIFF_SBYTE:
      return std::to_string(number_at<std::int8_t>(file, at, big_endian));
    case TIFF_SSHORT:
      return std::to_string(number_at<std::int16_t>(file, at, big_endian));
    case TIFF_SLONG:
      return std::to_string(number_at<std::int32_t>(file, at, big_endian));
    case TIFF_SLONG8:
      return std::to_string(number_at<std::int64_t>(file, at, big_endian));
    case TIFF_RATIONAL:
      return std::to_string(number_at<std::uint32_t>(file, at, big_endian)) + "/" +
             std::to_string(number_at<std::uint32_t>(file, at + 4, big_endian));
    case TIFF_SRATIONAL:
      return std::to_string(number_at<std::int32_t>(file, at, big_endian)) + "/" +
             std::to_string(number_at<std::int32_t>(file, at + 4, big_endian));
    case TIFF_FLOAT:
      return shortest_text(number_at<float>(file, at, big_endian));
    case TIFF_DOUBLE:
      return shortest_text(number_at<double>(file, at, big_endian));
    default:
      return std::to_string(number_of(file, at, entry.value_size));
  }
}

std::string entry_text(Bytes file, const Entry& entry) {
  constexpr std::uint64_t kMostNumbers = 16;
  constexpr std::uint64_t kLongestText = 65536;
  if (entry.begin > file.size() || entry.bytes > file.size() - entry.begin) return "";
  const auto begin = static_cast<std::size_t>(entry.begin);
  if (entry.type == TIFF_ASCII) {
    const auto length = static_cast<std::size_t>(std::min(entry.bytes, kLongestText));
    return std::string(trimmed(text_of(file).substr(begin, length)));
  }
  std::string text;
  for (std::uint64_t value = 0; value < std::min(entry.values, kMostNumbers); ++value) {
    if (value > 0) text += ' ';
    text += number_text(file, entry, begin + static_cast<std::size_t>(value) * entry.value_size);
  }
  return entry.values > kMostNumbers ? text + " ..." : text;
}

// Whether a directory that begins there lies within the file.
bool is_directory(Bytes file, std::uint64_t begin) {
  const Layout& layout = layout_of(file);
  if (begin > file.size() || file.size() - begin < layout.count + layout.offset) return false;
  const auto at = static_cast<std::size_t>(begin);
  return number_of(file, at, layout.count) <= (file.size() - at - layout.count - layout.offset) / layout.entry;
}

}  // namespace

std::uint64_t first_tiff_directory(Bytes file) {
  const Layout& layout = layout_of(file);
  return number_of(file, layout.first, layout.offset);
}

std::optional<TiffDirectory> tiff_directory(Bytes file, std::uint64_t begin) {
  const Layout& layout = layout_of(file);
  if (!is_directory(file, begin)) return std::nullopt;
  auto at = static_cast<std::size_t>(begin);
  TiffDirectory directory;
  directory.entries = number_of(file, at, layout.count);
  at += layout.count;
  directory.end = at + directory.entries * layout.entry + layout.offset;
  for (std::uint64_t i = 0; i < directory.entries; ++i, at += layout.entry) {
    const Entry entry = entry_at(file, layout, at);
    directory.value_bytes = std::min(directory.value_bytes + entry.bytes, kEndless);
    directory.end = std::max(directory.end, entry.begin + entry.bytes);
  }
  directory.next = number_of(file, at, layout.offset);
  return directory;
}

std::vector<std::uint64_t> tiff_directories(Bytes file, std::size_t most) {
  const Layout& layout = layout_of(file);
  std::vector<std::uint64_t> directories{first_tiff_directory(file)};
  std::unordered_set<std::uint64_t> seen{0, directories[0]};
  while (directories.size() < most && is_directory(file, directories.back())) {
    const auto at = static_cast<std::size_t>(directories.back());
    const auto entries = static_cast<std::size_t>(number_of(file, at, layout.count));
    const std::uint64_t next = number_of(file, at + layout.count + entries * layout.entry, layout.offset);
    // The offsets may form a circle, or lead to something that is not a directory.
    if (!seen.insert(next).second || !is_directory(file, next)) break;
    directories.push_back(next);
  }
  return directories;
}

std::vector<TiffText> tiff_texts(Bytes file, std::uint64_t directory) {
  const Layout& layout = layout_of(file);
  std::vector<TiffText> texts;
  const auto whole = tiff_directory(file, directory);
  if (!whole) return texts;
  std::size_t at = static_cast<std::size_t>(directory) + layout.count;
  for (std::uint64_t i = 0; i < whole->entries; ++i, at += layout.entry) {
    const Entry entry = entry_at(file, layout, at);
    texts.push_back({entry.tag, entry_text(file, entry)});
  }
  return texts;
}

std::vector<std::uint64_t> tiff_integers(Bytes file, std::uint64_t directory, std::uint16_t tag) {
  const Layout& layout = layout_of(file);
  std::vector<std::uint64_t> integers;
  auto at = static_cast<std::size_t>(directory);
  const std::uint64_t entries = number_of(file, at, layout.count);
  at += layout.count;
  for (std::uint64_t i = 0; i < entries; ++i, at += layout.entry) {
    const Entry entry = entry_at(file, layout, at);
    if (entry.tag != tag) continue;
    const auto begin = static_cast<std::size_t>(entry.begin);
    const auto values = static_cast<std::size_t>(entry.values);
    integers.reserve(values);
    for (std::size_t value = 0; value < values; ++value) {
      integers.push_back(number_of(file, begin + value * entry.value_size, entry.value_size));
    }
    break;
  }
  return integers;
}

}  // namespace frames
