// Operations on frames. Each changes pixels, and maybe the size; geometry, mask and saturation follow. If an operation
// refuses a frame, it throws a std::runtime_error with one line for the user, and the frame stays as it was.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "frames/frame.h"
#include "frames/numbers.h"

namespace frames {

// The rectangle from column x, row y on; the part beyond the frame is left out.
void crop(Frame& frame, int x, int y, int width, int height);

// Sums blocks of factor x factor pixels. Rows and columns at the end that do not fill a block are left out. A sum is
// unknown if one of its counts is, or if it does not fit 32 bits.
void bin(Frame& frame, int factor);

// Cuts, or pads with 0, at the right and at the bottom.
void fit(Frame& frame, Size size);

// Clockwise by a quarter of a turn.
void rotate(Frame& frame);

// Exchanges left and right, or top and bottom.
enum class Flip { kHorizontal, kVertical };
void flip(Frame& frame, Flip direction);

// Convolves with a Gaussian of these standard deviations in pixels, and rounds to whole counts. Pixels of unknown count
// and those beyond the edges have no weight; unknown counts stay unknown.
void smooth(Frame& frame, double sigma_x, double sigma_y);

using Operation = std::function<void(Frame& frame)>;

// An operation by its name, as the command line and the C interface take it.
struct OperationOption {
  std::string name;   // "bin"
  std::string value;  // "N", for people; empty for an operation without a value
  std::string help;
  // Throws InvalidValue.
  Operation (*make)(const std::string& text);
};

// All of them, those above included.
const std::vector<OperationOption>& operations();

}  // namespace frames
