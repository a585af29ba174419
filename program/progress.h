// The progress of a batch: a bar on the terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace program {

// Draws on standard error if that is a terminal, and nothing otherwise.
class Progress {
 public:
  explicit Progress(std::size_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { clear(); }

  // One more is done.
  void advance();
  // Removes the bar before another line is printed.
  void clear();

  double seconds() const;

 private:
  void draw();

  using Clock = std::chrono::steady_clock;
  std::size_t total_;
  std::size_t done_ = 0;
  bool is_terminal_;
  bool is_drawn_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point last_drawn_;
};

// The bar's line: "[#####-----] 50/100  12.5 frames/s  4 s left", `columns` wide at most.
std::string progress_line(std::size_t done, std::size_t total, double seconds, std::size_t columns);

// "59 s", "3 min 20 s", "2 h 5 min".
std::string duration_text(double seconds);

}  // namespace program
