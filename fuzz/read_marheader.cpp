// read_marheader, print_marheader and read_mar_header. The input is the file's text, behind the binary words, so that
// inputs are short.
#include <algorithm>
#include <array>
#include <string>

#include "fuzz/harness.h"
#include "mar345/binary_header.h"
#include "xrdimage.h"

void fuzz::run(Bytes input) {
  std::string file(xrd::mar345::kTextBegin, '\0');
  file.append(input.begin(), input.end());
  const char* const path = file_of({reinterpret_cast<const unsigned char*>(file.data()), file.size()});

  Mar345Header header{};
  read_marheader(&header, path);
  for (const auto& text : {std::to_array(header.program), std::to_array(header.date), std::to_array(header.format)}) {
    require(std::ranges::find(text, '\0') != text.end());
  }
  print_marheader(&header);

  ImageInfo info{};
  require(read_mar_header(path, &info) == 1);
}
