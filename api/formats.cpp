// The list of formats.
#include "frames/formats.h"

#include "xrdframe.h"

namespace {

const frames::FileFormat* format_at(size_t index) {
  return index < frames::formats().size() ? &frames::formats()[index] : nullptr;
}

int abilities_of(const frames::FileFormat& format) {
  const frames::Abilities& abilities = format.abilities;
  return (format.is_read() ? XRD_CAN_READ : 0) | (format.is_written() ? XRD_CAN_WRITE : 0) |
         (abilities.is_picture ? XRD_IS_PICTURE : 0) | (abilities.header ? XRD_HAS_HEADER : 0) |
         (abilities.negative_counts ? XRD_HAS_SIGN : 0) | (abilities.large_counts ? XRD_HAS_32_BITS : 0);
}

}  // namespace

extern "C" {

size_t xrd_format_count(void) {
  return frames::formats().size();
}

const char* xrd_format_keyword(size_t format) {
  const frames::FileFormat* const found = format_at(format);
  return found == nullptr ? nullptr : found->keyword;
}

const char* xrd_format_name(size_t format) {
  const frames::FileFormat* const found = format_at(format);
  return found == nullptr ? nullptr : found->name;
}

const char* xrd_format_endings(size_t format) {
  const frames::FileFormat* const found = format_at(format);
  return found == nullptr ? nullptr : found->endings.data();  // the endings are literals
}

int xrd_format_abilities(size_t format) {
  const frames::FileFormat* const found = format_at(format);
  return found == nullptr ? 0 : abilities_of(*found);
}

}  // extern "C"
