#include "program/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace program {

namespace {

std::size_t terminal_columns() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

}  // namespace

std::string duration_text(double seconds) {
  constexpr long long kMinute = 60;
  constexpr long long kHour = 60 * kMinute;
  const long long whole = std::llround(seconds);
  if (whole < kMinute) return std::to_string(whole) + " s";
  if (whole < kHour) return std::to_string(whole / kMinute) + " min " + std::to_string(whole % kMinute) + " s";
  return std::to_string(whole / kHour) + " h " + std::to_string(whole % kHour / kMinute) + " min";
}

std::string progress_line(std::size_t done, std::size_t total, double seconds, std::size_t columns) {
  std::string text(" ");
  text.append(std::to_string(done)).append("/").append(std::to_string(total));
  if (done > 0 && seconds > 0) {
    const double rate = static_cast<double>(done) / seconds;
    std::array<char, 32> rate_text{};
    std::snprintf(rate_text.data(), rate_text.size(), "%.1f", rate);
    text.append("  ").append(rate_text.data()).append(" frames/s  ");
    text.append(duration_text(static_cast<double>(total - done) / rate)).append(" left");
  }
  constexpr std::size_t kLongestBar = 40;
  constexpr std::size_t kShortestBar = 5;
  constexpr std::size_t kBrackets = 2;
  if (columns < text.size() + kBrackets + kShortestBar) return text.substr(1, columns);
  const std::size_t length = std::min(columns - text.size() - kBrackets, kLongestBar);
  const std::size_t filled = total == 0 ? length : done * length / total;
  std::string line("[");
  line.append(filled, '#').append(length - filled, '-').append("]").append(text);
  return line;
}

Progress::Progress(std::size_t total) : total_(total), is_terminal_(isatty(STDERR_FILENO) == 1) {
  draw();
}

void Progress::advance() {
  ++done_;
  constexpr std::chrono::milliseconds kInterval(100);
  if (Clock::now() - last_drawn_ >= kInterval) draw();
}

void Progress::clear() {
  if (!is_drawn_) return;
  std::fputs("\r\033[K", stderr);
  is_drawn_ = false;
  last_drawn_ = {};
}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::draw() {
  if (!is_terminal_) return;
  // One column stays free: in the last one some terminals begin a new line.
  std::fprintf(stderr, "\r\033[K%s", progress_line(done_, total_, seconds(), terminal_columns() - 1).c_str());
  std::fflush(stderr);
  is_drawn_ = true;
  last_drawn_ = Clock::now();
}

}  // namespace program
