// Prints the header items and statistics of a frame of any format, and makes a picture of it, binned 2 x 2.
//
//     c++ -std=c++20 picture.cpp $(pkg-config --cflags --libs xrdframe) -o picture
//     ./picture FRAME OUT.png
#include <exception>
#include <iostream>
#include <xrdframe.hpp>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: picture FRAME OUT.png\n";
    return 2;
  }
  try {
    auto frame = xrdframe::Frame::load(argv[1]);
    std::cout << argv[1] << ": " << frame.format() << ", " << frame.width() << " x " << frame.height() << " pixels\n";
    for (const auto& [name, text] : frame.items()) std::cout << "  " << name << " = " << text << "\n";
    const auto statistics = frame.statistics();
    std::cout << "counts from " << statistics.minimum << " to " << statistics.maximum << ", mean " << statistics.mean
              << "\n";
    for (const auto& warning : frame.bin(2).save(argv[2])) std::cerr << argv[2] << ": " << warning << "\n";
  } catch (const std::exception& error) {
    std::cerr << argv[1] << ": " << error.what() << "\n";
    return 1;
  }
}
