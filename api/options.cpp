// Lists of lines, and options by their names.
#include "frames/options.h"

#include <algorithm>
#include <new>
#include <string>
#include <string_view>

#include "api/guard.h"
#include "api/objects.h"
#include "frames/formats.h"
#include "pictures/options.h"

namespace {

using api::guarded;
using api::Refusal;
using api::required;

std::string text_of(const char* value) {
  if (value == nullptr) throw Refusal(XRD_INVALID, "needs a value");
  return value;
}

// Sets the option of this name if the table has it.
template <typename Target>
bool set_in(const std::vector<frames::Option<Target>>& table, Target& target, std::string_view name,
            const char* value) {
  const auto option = std::ranges::find(table, name, &frames::Option<Target>::name);
  if (option == table.end()) return false;
  if (!option->value.empty()) {
    option->set(target, text_of(value));
  } else if (value != nullptr) {
    throw Refusal(XRD_INVALID, "takes no value");
  } else {
    option->set(target, "");
  }
  return true;
}

// The call decides later whether it can use the format.
std::string known_format(const std::string& text) {
  if (!frames::find_format(text)) throw Refusal(XRD_UNKNOWN_FORMAT, "'" + text + "' is not a format");
  return text;
}

bool set_option(xrd_options& options, std::string_view name, const char* value) {
  if (name == "format") {
    options.format = known_format(text_of(value));
    return true;
  }
  return set_in(frames::load_options(), options.reading, name, value) ||
         set_in(frames::write_options(), options.saving.writing, name, value) ||
         set_in(pictures::picture_options(), options.saving.picture, name, value);
}

}  // namespace

extern "C" {

size_t xrd_lines_count(const xrd_lines* lines) {
  return lines == nullptr ? 0 : lines->texts.size();
}

const char* xrd_lines_text(const xrd_lines* lines, size_t index) {
  return index < xrd_lines_count(lines) ? lines->texts[index].c_str() : nullptr;
}

void xrd_lines_free(xrd_lines* lines) {
  delete lines;
}

xrd_options* xrd_options_new(void) {
  return new (std::nothrow) xrd_options();
}

xrd_result xrd_options_set(xrd_options* options, const char* name, const char* value, char* detail) {
  return guarded(detail, [&] {
    required(options, "list of options");
    const std::string option = "--" + std::string(&required(name, "option's name"));
    try {
      if (!set_option(*options, name, value)) throw Refusal(XRD_INVALID, "is not an option");
    } catch (const Refusal& refusal) {
      throw Refusal(refusal.result(), option + " " + refusal.what());
    } catch (const frames::InvalidValue& invalid) {
      throw Refusal(XRD_INVALID, option + ": " + invalid.what());
    }
  });
}

void xrd_options_free(xrd_options* options) {
  delete options;
}

}  // extern "C"
