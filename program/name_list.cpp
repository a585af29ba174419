#include "program/name_list.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>

#include "frames/failure.h"

namespace program {

namespace {

constexpr std::size_t kLongestName = PATH_MAX - 1;        // the NUL behind a path counts too
constexpr std::size_t kMostNames = std::size_t{1} << 24;  // blank lines count too
constexpr std::size_t kMostBytes = std::size_t{1} << 29;  // of all names: paths of usual length are some million

class NameCollector {
 public:
  NameCollector(const std::string& list, char end, std::vector<std::string>& names)
      : list_(list), end_(end), names_(names) {}

  void take(std::string_view text) {
    while (!text.empty()) {
      const std::size_t length = std::min(text.find(end_), text.size());
      add(text.substr(0, length));
      if (length == text.size()) return;
      finish_name();
      text.remove_prefix(length + 1);
    }
  }

  // The last name may lack its end.
  void finish() {
    if (!name_.empty()) finish_name();
  }

 private:
  bool has_lines() const { return end_ == '\n'; }

  // A part of a name.
  void add(std::string_view part) {
    const std::size_t nul = part.find('\0');
    name_.append(part.substr(0, nul));
    if (name_.size() > kLongestName + 1) refuse_length();  // one may be a carriage return
    if (nul != std::string_view::npos) refuse("contains a NUL byte");
  }

  void finish_name() {
    if (has_lines() && name_.ends_with('\r')) name_.pop_back();
    if (name_.size() > kLongestName) refuse_length();
    if (name_.empty() && !has_lines()) refuse("is empty");
    if (number_ > kMostNames) throw frames::Failure(list_, "lists more than " + std::to_string(kMostNames) + " files");
    bytes_ += name_.size();
    if (bytes_ > kMostBytes)
      throw frames::Failure(list_, "has more than " + std::to_string(kMostBytes) + " bytes of names");
    if (!name_.empty()) names_.push_back(name_);
    name_.clear();
    ++number_;
  }

  [[noreturn]] void refuse_length() const {
    refuse("is longer than a path may be (" + std::to_string(kLongestName) + " bytes)");
  }

  [[noreturn]] void refuse(const std::string& what_is_wrong) const {
    throw frames::Failure(list_, (has_lines() ? "line " : "name ") + std::to_string(number_) + " " + what_is_wrong);
  }

  const std::string& list_;
  char end_;
  std::vector<std::string>& names_;
  std::string name_;
  std::size_t number_ = 1;
  std::size_t bytes_ = 0;  // of the names before
};

}  // namespace

void read_names(std::FILE* stream, const std::string& list, std::vector<std::string>& names) {
  std::array<char, kLongestName + 1> block{};
  const auto read_block = [&] {
    return std::string_view(block.data(), std::fread(block.data(), 1, block.size(), stream));
  };
  std::string_view text = read_block();
  // If names end with NULs, the first NUL is in the first block.
  const bool has_nuls = text.find('\0') != std::string_view::npos;
  NameCollector collector(list, has_nuls ? '\0' : '\n', names);
  for (; !text.empty(); text = read_block()) collector.take(text);
  if (std::ferror(stream) != 0) throw frames::Failure(list, std::strerror(errno));
  collector.finish();
}

}  // namespace program
