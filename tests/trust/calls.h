// One call of each exported function, with what a caller sees afterwards told as text.
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tests/corpus/run.h"
#include "tests/trust/samples.h"

namespace trust {

// An image's address and size as a caller keeps them for a reader to fill in.
struct Outputs {
  static inline unsigned int before = 0;  // what the address points to until a reader stores another
  unsigned int* array = &before;
  int width = -7;
  int height = -8;
};

// The circumstances of a call, and what was told of it.
class Scene {
 public:
  std::function<void()> begin = [] {};
  std::function<void()> end = [] {};

  template <typename Action>
  void call(const Action& action) {
    begin();
    action();
    end();
  }

  template <typename Value>
  void tell(std::string_view name, const Value& value) {
    story_ << name << "=" << value << "\n";
  }
  template <typename Element>
  void tell_all(std::string_view name, const Element* elements, std::size_t count) {
    // A digest of the bytes that is fast, for many images.
    static_assert(std::is_trivially_copyable_v<Element>);
    const std::string_view bytes(reinterpret_cast<const char*>(elements), count * sizeof(Element));
    const std::size_t digest = std::hash<std::string_view>()(bytes);
    story_ << name << "=" << count << ":" << std::hex << digest << std::dec << "\n";
  }
  // What a reader has stored. Releases the array.
  void tell(const Outputs& outputs);
  // A file's contents, if it is there.
  void tell_file(const std::string& name);
  std::string story() const { return story_.str(); }

 private:
  std::ostringstream story_;
};

struct Call {
  const char* function;
  std::function<void(Scene&)> run;

  friend void PrintTo(const Call& call, std::ostream* stream) { *stream << call.function; }
};

// For all exported functions. Files are made and written in the working directory; commands are not run.
std::vector<Call> calls();
std::vector<Call> file_calls();
std::vector<Call> pixel_calls();

// Size of the images that are smoothed: two threads share the work. The width is made even first.
inline constexpr int kSmoothWidth = 257;
inline constexpr int kSmoothHeight = 258;

// While it lives, commands given to the shell are counted and not run. It allocates nothing then.
class NoCommands {
 public:
  NoCommands();
  NoCommands(const NoCommands&) = delete;
  NoCommands& operator=(const NoCommands&) = delete;
  ~NoCommands();
  static int count();
};

}  // namespace trust
