// The border to C: exceptions become a result and a line of detail.
#pragma once

#include <stdexcept>
#include <string>

#include "xrdframe.h"

namespace api {

// A failure with its result; the message is the line of detail.
class Refusal : public std::runtime_error {
 public:
  Refusal(xrd_result result, const std::string& detail) : std::runtime_error(detail), result_(result) {}

  xrd_result result() const { return result_; }

 private:
  xrd_result result_;
};

// XRD_INVALID for null pointers: "the frame is a null pointer".
template <typename Type>
Type& required(Type* pointer, const char* name) {
  if (pointer == nullptr) throw Refusal(XRD_INVALID, std::string("the ") + name + " is a null pointer");
  return *pointer;
}

// For use in a handler: the result that the exception stands for. `detail` may be null.
xrd_result report(char* detail) noexcept;

template <typename Body>
xrd_result guarded(char* detail, const Body& body) noexcept {
  try {
    body();
    return XRD_OK;
  } catch (...) {
    return report(detail);
  }
}

}  // namespace api
