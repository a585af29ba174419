#include "program/terminal_drawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "pictures/bar.h"
#include "pictures/fitted.h"
#include "pictures/png.h"

namespace program {

namespace {

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(bytes.size() - i, 3);
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < 3; ++k) bits = bits << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    for (std::size_t k = 0; k < 4; ++k) text += k <= count ? kDigits[bits >> (18 - 6 * k) & 63] : '=';
  }
  return text;
}

std::uint8_t entry_at(const pictures::Picture& picture, int x, int y) {
  return picture
      .pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) + static_cast<std::size_t>(x)];
}

unsigned percent(std::uint8_t component) {
  return (component * 100U + 127U) / 255U;
}

void append_number(std::string& text, char mark, std::size_t number) {
  text += mark;
  text += std::to_string(number);
}

void append_run(std::string& text, std::size_t length, char sixel) {
  if (length > 3) {  // a shorter run is as short without the number
    append_number(text, '!', length);
    text += sixel;
  } else {
    text.append(length, sixel);
  }
}

// One colour's pixels of a band: bit 0 of a sixel is its uppermost pixel.
void append_sixels(std::string& text, const std::vector<std::uint8_t>& sixels) {
  constexpr char kEmpty = '?';
  std::size_t end = sixels.size();
  while (end > 0 && sixels[end - 1] == 0) --end;
  for (std::size_t first = 0; first < end;) {
    std::size_t next = first + 1;
    while (next < end && sixels[next] == sixels[first]) ++next;
    append_run(text, next - first, static_cast<char>(kEmpty + sixels[first]));
    first = next;
  }
}

// A band of sixels is so many rows high.
constexpr int kBandRows = 6;

void append_band(std::string& text, const pictures::Picture& picture, int top) {
  std::array<std::vector<std::uint8_t>, 256> bands;
  for (int y = top; y < std::min(top + kBandRows, picture.height); ++y) {
    for (int x = 0; x < picture.width; ++x) {
      std::vector<std::uint8_t>& band = bands[entry_at(picture, x, y)];
      if (band.empty()) band.resize(static_cast<std::size_t>(picture.width));
      std::uint8_t& sixel = band[static_cast<std::size_t>(x)];
      sixel = static_cast<std::uint8_t>(sixel | 1U << (y - top));
    }
  }
  for (std::size_t entry = 0; entry < bands.size(); ++entry) {
    if (bands[entry].empty()) continue;
    append_number(text, '#', entry);
    append_sixels(text, bands[entry]);
    text += '$';  // back to the left
  }
  text.back() = '-';  // on to the next band
}

// The colours 16 to 255 of terminals: a cube of six levels, and greys.
int nearest_color(const pictures::Rgb& colour) {
  constexpr std::array kCube{0, 95, 135, 175, 215, 255};
  const auto distance = [&](int red, int green, int blue) {
    const int r = red - colour.red;
    const int g = green - colour.green;
    const int b = blue - colour.blue;
    return r * r + g * g + b * b;
  };
  int nearest = 16;
  int least = distance(0, 0, 0);
  const auto consider = [&](int number, int red, int green, int blue) {
    if (distance(red, green, blue) >= least) return;
    least = distance(red, green, blue);
    nearest = number;
  };
  for (std::size_t i = 0; i < 216; ++i) {
    consider(16 + static_cast<int>(i), kCube[i / 36], kCube[i / 6 % 6], kCube[i % 6]);
  }
  for (int i = 0; i < 24; ++i) consider(232 + i, 8 + 10 * i, 8 + 10 * i, 8 + 10 * i);
  return nearest;
}

// The colour as part of the sequences that set it.
std::string color_code(const pictures::Rgb& colour, bool true_color) {
  if (!true_color) return std::string("5;").append(std::to_string(nearest_color(colour)));
  std::string code = "2";
  for (const std::uint8_t component : {colour.red, colour.green, colour.blue}) append_number(code, ';', component);
  return code;
}

std::vector<std::string> color_codes(const std::vector<pictures::Rgb>& palette, bool true_color) {
  std::vector<std::string> codes;
  codes.reserve(palette.size());
  for (const pictures::Rgb& colour : palette) codes.push_back(color_code(colour, true_color));
  return codes;
}

// The room above two rows for a prompt.
pictures::Room room_in(const Terminal& terminal) {
  constexpr int kPromptRows = 2;
  // No screen has more; some connections report terminals of 65535 characters.
  constexpr int kMostLetters = 2000;
  constexpr int kMostPixels = 16384;
  const int columns = std::min(terminal.columns, kMostLetters);
  const int all_rows = std::clamp(terminal.rows, 1, kMostLetters);
  const int rows = std::max(all_rows - kPromptRows, 1);
  switch (terminal.graphics) {
    case TerminalGraphics::kAscii:
      return {columns, rows, 2};  // characters are about twice as high as wide
    case TerminalGraphics::kBlocks:
      return {columns, 2 * rows, 1};
    default:
      // If the terminal does not report its pixels: 80 x 24 characters of 10 x 20 pixels.
      if (terminal.pixel_width <= 0 || terminal.pixel_height <= 0) return {800, 480, 1};
      return {std::min(terminal.pixel_width, kMostPixels),
              std::min(terminal.pixel_height, kMostPixels) * rows / all_rows, 1};
  }
}

std::string drawing(const pictures::Picture& picture, const Terminal& terminal, pictures::ColorMap colors) {
  switch (terminal.graphics) {
    case TerminalGraphics::kKitty:
      return kitty_drawing(picture);
    case TerminalGraphics::kSixel:
      return sixel_drawing(picture);
    case TerminalGraphics::kBlocks:
      return block_drawing(picture, terminal.true_color);
    default:
      return ascii_drawing(picture, pictures::make_colors(colors));
  }
}

}  // namespace

std::string kitty_drawing(const pictures::Picture& picture) {
  constexpr std::size_t kChunk = 4096;
  const std::string data = base64(pictures::png_bytes(picture));
  std::string text;
  for (std::size_t first = 0; first < data.size(); first += kChunk) {
    text += "\033_G";
    if (first == 0) text += "f=100,a=T,q=2,";  // a PNG picture, shown at once, without an answer
    text += first + kChunk < data.size() ? "m=1;" : "m=0;";
    text += data.substr(first, kChunk) + "\033\\";
  }
  return text + "\n";
}

std::string sixel_drawing(const pictures::Picture& picture) {
  std::array<bool, 256> used{};
  for (const std::uint8_t entry : picture.pixels) used[entry] = true;
  std::string text = "\033P0;1;0q\"1;1;" + std::to_string(picture.width) + ";" + std::to_string(picture.height);
  for (std::size_t entry = 0; entry < picture.palette.size(); ++entry) {
    if (!used[entry]) continue;
    append_number(text, '#', entry);
    text += ";2";  // red, green and blue follow
    const pictures::Rgb& colour = picture.palette[entry];
    for (const std::uint8_t component : {colour.red, colour.green, colour.blue}) {
      append_number(text, ';', percent(component));
    }
  }
  for (int top = 0; top < picture.height; top += kBandRows) append_band(text, picture, top);
  return text + "\033\\\n";
}

std::string block_drawing(const pictures::Picture& picture, bool true_color) {
  const std::vector<std::string> codes = color_codes(picture.palette, true_color);
  std::string text;
  for (int y = 0; y < picture.height; y += 2) {
    std::string_view above;
    std::string_view below;
    for (int x = 0; x < picture.width; ++x) {
      const std::string& upper = codes[entry_at(picture, x, y)];
      if (upper != above) text += "\033[38;" + upper + "m";
      above = upper;
      if (y + 1 < picture.height) {
        const std::string& lower = codes[entry_at(picture, x, y + 1)];
        if (lower != below) text += "\033[48;" + lower + "m";
        below = lower;
      }
      text += "▀";
    }
    text += "\033[0m\n";
  }
  return text;
}

std::string ascii_drawing(const pictures::Picture& picture, const pictures::Colors& colors) {
  constexpr std::string_view kInks = " .:-=+*#%@";
  std::string text;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const std::uint8_t entry = entry_at(picture, x, y);
      if (entry < colors.levels) {
        text += kInks[entry * kInks.size() / static_cast<std::size_t>(colors.levels)];
      } else {
        text += entry == colors.unknown ? '?' : entry == colors.ink ? 'o' : ' ';
      }
    }
    text += '\n';
  }
  return text;
}

void draw_in_terminal(const frames::Frame& frame, const pictures::PictureOptions& options, const Terminal& terminal,
                      std::FILE* out, frames::Remarks& remarks) {
  pictures::PictureOptions chosen = options;
  // Characters for levels, from faint to bright, and for ink, which is itself a level in the classic map.
  if (terminal.graphics == TerminalGraphics::kAscii) chosen.colors = pictures::ColorMap::kGrey;
  pictures::Room room = room_in(terminal);
  frames::Frame shown = pictures::fitted(frame, room);
  if (options.bar) {
    room.height -= pictures::bar_height(shown.width, pictures::pen_for(shown.width, shown.height, {}));
    shown = pictures::fitted(frame, room);
  }
  const pictures::CountRange range = pictures::chosen_range(frame, options, remarks);
  const std::string text =
      drawing(pictures::draw_picture_in_range(shown, range, chosen, remarks), terminal, chosen.colors);
  std::fwrite(text.data(), 1, text.size(), out);
}

}  // namespace program
