#include "api/guard.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <system_error>

#include "frames/frame.h"
#include "support/printable.h"

namespace api {

namespace {

constexpr const char* kNoMemory = "needs more memory than is available";

// Cuts between UTF-8 characters.
void put_line(char* detail, std::string_view line) {
  if (detail == nullptr) return;
  std::size_t length = std::min<std::size_t>(line.size(), XRD_DETAIL - 1);
  const auto continues = [&](std::size_t i) { return (static_cast<unsigned char>(line[i]) & 0xC0) == 0x80; };
  while (length < line.size() && length > 0 && continues(length)) --length;
  std::memcpy(detail, line.data(), length);
  detail[length] = '\0';
}

// Lines may quote a file. Making them printable needs memory, which may have run out.
xrd_result tell(char* detail, xrd_result result, const char* line) {
  try {
    put_line(detail, xrd::printable(line));
    return result;
  } catch (const std::bad_alloc&) {
    put_line(detail, kNoMemory);
    return XRD_NO_MEMORY;
  }
}

xrd_result result_of(frames::Problem problem) {
  switch (problem) {
    case frames::Problem::kNoMemory:
      return XRD_NO_MEMORY;
    case frames::Problem::kSystem:
      return XRD_SYSTEM;
    case frames::Problem::kUnknownFormat:
      return XRD_UNKNOWN_FORMAT;
    case frames::Problem::kDamaged:
      return XRD_DAMAGED;
    case frames::Problem::kUnsupported:
      return XRD_UNSUPPORTED;
    case frames::Problem::kInvalid:
      break;
  }
  return XRD_INVALID;
}

}  // namespace

xrd_result report(char* detail) noexcept {
  try {
    throw;
  } catch (const Refusal& refusal) {
    return tell(detail, refusal.result(), refusal.what());
  } catch (const frames::LoadError& error) {
    return tell(detail, result_of(error.problem()), error.what());
  } catch (const std::bad_alloc&) {
    put_line(detail, kNoMemory);
    return XRD_NO_MEMORY;
  } catch (const std::length_error&) {  // more than an array can hold
    put_line(detail, kNoMemory);
    return XRD_NO_MEMORY;
  } catch (const std::system_error& error) {
    return tell(detail, XRD_SYSTEM, std::strerror(error.code().value()));
  } catch (const std::exception& error) {  // from an operation or option that makes no sense
    return tell(detail, XRD_INVALID, error.what());
  } catch (...) {
    return tell(detail, XRD_INVALID, xrd_result_text(XRD_INVALID));
  }
}

}  // namespace api

extern "C" const char* xrd_result_text(xrd_result result) {
  switch (result) {
    case XRD_OK:
      return "no error";
    case XRD_NO_MEMORY:
      return "not enough memory";
    case XRD_SYSTEM:
      return "refused by the system";
    case XRD_UNKNOWN_FORMAT:
      return "unknown format";
    case XRD_DAMAGED:
      return "truncated or damaged";
    case XRD_UNSUPPORTED:
      return "not supported";
    case XRD_INVALID:
      return "invalid argument";
  }
  return "unknown result";
}
