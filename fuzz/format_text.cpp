// format_text. The first byte of an input is the field's size, the rest is the text.
#include <string>
#include <vector>

#include "fuzz/harness.h"
#include "support/format_text.h"

namespace {

std::string formatted(std::size_t field_size, const std::string& text) {
  std::vector<char> field(field_size, 'x');
  xrd::format_text(field, text.c_str());
  return field.data();
}

}  // namespace

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const std::size_t size = input.byte() + 1;
  const std::string text(input.rest().begin(), input.rest().end());
  // A smaller field cuts the text and changes nothing else.
  require(formatted(size, text) == formatted(256, text).substr(0, size - 1));
}
