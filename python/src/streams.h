// The library's streams on the descriptors of Python's files.
#pragma once

#include <cstdio>

namespace python {

// A stream on a copy of the descriptor, which shares its position. Afterwards the descriptor has the position of the
// stream
//
class Stream {
 public:
  // A descriptor below 0 gives no stream. Raises OSError for a descriptor that does not suit the mode.
  Stream(int descriptor, const char* mode);
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream();

  operator std::FILE*() const { return stream_; }

  // Raises OSError if not everything could be written.
  void finish();

  // The stream has been closed by somebody else.
  void forget() { stream_ = nullptr; }

 private:
  int descriptor_;
  std::FILE* stream_ = nullptr;
};

}  // namespace python
