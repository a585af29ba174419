#include "support/tiff.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <new>

#include "support/c_locale.h"
#include "support/conversation.h"

namespace xrd {

namespace {

struct OptionsFreer {
  void operator()(TIFFOpenOptions* options) const noexcept { TIFFOpenOptionsFree(options); }
};
using Options = std::unique_ptr<TIFFOpenOptions, OptionsFreer>;

// Handlers return this, so that the process' own handlers are not called too.
constexpr int kIsDealtWith = 1;

int ignore_warning(tiff* /*image*/, void* /*user_data*/, const char* /*module*/, const char* /*format*/,
                   std::va_list /*values*/) {
  return kIsDealtWith;
}

// ------------------------------------------------------------------------------------------------------------------
// Files, with a conversation
// ------------------------------------------------------------------------------------------------------------------

int tell_conversation(tiff* /*image*/, void* user_data, const char* module, const char* format, std::va_list values) {
  std::array<char, 500> text{};
  std::vsnprintf(text.data(), text.size(), format, values);
  static_cast<Conversation*>(user_data)->hear_libtiff(module, text.data());
  return kIsDealtWith;
}

TiffHandle open_for(Conversation& conversation, const char* path) {
  const Options options(TIFFOpenOptionsAlloc());
  if (!options) return nullptr;
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), tell_conversation, &conversation);
  TIFFOpenOptionsSetWarningHandlerExtR(
      options.get(), conversation.wants_tiff_warnings ? tell_conversation : ignore_warning, &conversation);
  return TiffHandle(TIFFOpenExt(path, "r", options.get()));
}

// ------------------------------------------------------------------------------------------------------------------
// Bytes
// ------------------------------------------------------------------------------------------------------------------

TiffBytes& bytes_of(thandle_t handle) {
  return *static_cast<TiffBytes*>(handle);
}

tmsize_t read_bytes(thandle_t handle, void* target, tmsize_t size) {
  return size <= 0 ? 0 : static_cast<tmsize_t>(bytes_of(handle).read(target, static_cast<std::size_t>(size)));
}

tmsize_t write_bytes(thandle_t handle, void* source, tmsize_t size) {
  return size <= 0 ? 0 : static_cast<tmsize_t>(bytes_of(handle).write(source, static_cast<std::size_t>(size)));
}

toff_t seek(thandle_t handle, toff_t offset, int whence) {
  return bytes_of(handle).seek(offset, whence);
}

int close_nothing(thandle_t /*handle*/) {
  return 0;
}

toff_t size_of(thandle_t handle) {
  return bytes_of(handle).size();
}

int keep_error(tiff* /*image*/, void* user_data, const char* /*module*/, const char* format, std::va_list values) {
  static_cast<TiffBytes*>(user_data)->keep_error(format, values);
  return kIsDealtWith;
}

}  // namespace

void TiffCloser::operator()(tiff* image) const noexcept {
  TIFFClose(image);
}

TiffHandle open_tiff(const char* path) {
  if (Conversation* const conversation = Conversation::current()) return open_for(*conversation, path);
  return TiffHandle(TIFFOpen(path, "r"));
}

void silence_tiff_warnings() {
  if (Conversation* const conversation = Conversation::current()) {
    conversation->wants_tiff_warnings = false;
  } else {
    TIFFSetWarningHandler(nullptr);
  }
}

void TiffBytes::keep_error(const char* format, std::va_list values) noexcept {
  if (has_error()) return;
  const CLocale locale;
  std::vsnprintf(error_.data(), error_.size(), format, values);
  std::ranges::replace(error_, '\n', ' ');
}

TiffHandle open_tiff(TiffBytes& bytes, const char* mode) {
  const Options options(TIFFOpenOptionsAlloc());
  if (!options) throw std::bad_alloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keep_error, &bytes);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignore_warning, nullptr);
  return TiffHandle(TIFFClientOpenExt("frame", mode, &bytes, read_bytes, write_bytes, seek, close_nothing, size_of,
                                      nullptr, nullptr, options.get()));
}

}  // namespace xrd
