// Reads a screenshot (binary PPM) and checks that its middle holds a
// coloured shape, mirror-symmetric left to right and top to bottom, standing
// in a near-black square. Exit status 0 when it does; a one-line reason else.
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "tests/symmetry.h"

int main(int argc, char** argv) {
  std::ifstream in(argc == 2 ? argv[1] : "", std::ios::binary);
  std::string magic;
  int w = 0, h = 0, maxval = 0;
  in >> magic >> w >> h >> maxval;
  in.get();
  std::vector<unsigned char> rgb(static_cast<std::size_t>(std::max(w, 0)) * std::max(h, 0) * 3);
  in.read(reinterpret_cast<char*>(rgb.data()), static_cast<std::streamsize>(rgb.size()));
  if (magic != "P6" || w < 300 || h < 300 || maxval != 255 || !in) {
    std::cerr << "usage: screenshot_check FILE.ppm (a screenshot of at least 300 x 300)\n";
    return 2;
  }
  auto coloured = [&](int x, int y) {
    const unsigned char* p = &rgb[(static_cast<std::size_t>(y) * w + x) * 3];
    return p[0] >= 24 || p[1] >= 24 || p[2] >= 24;
  };
  // The box of the coloured pixels in 300 x 300 round the middle.
  const int x0 = w / 2 - 150, y0 = h / 2 - 150;
  int left = w, right = -1, top = h, bottom = -1, count = 0;
  for (int y = y0; y < y0 + 300; ++y)
    for (int x = x0; x < x0 + 300; ++x)
      if (coloured(x, y)) {
        ++count;
        left = std::min(left, x), right = std::max(right, x);
        top = std::min(top, y), bottom = std::max(bottom, y);
      }
  if (count < 200 || left == x0 || right == x0 + 299 || top == y0 || bottom == y0 + 299) {
    std::cerr << "no shape in a near-black square in the middle (" << count << " pixels)\n";
    return 1;
  }
  const int bad = tavrel::testing_support::mirrorMismatches(
      left, top, right, bottom, false, coloured, [](bool a, bool b) { return a == b; });
  if (bad > count / 20) {
    std::cerr << "the shape is not symmetric (" << bad << " of " << count << ")\n";
    return 1;
  }
  std::cout << "shape of " << count << " pixels, " << bad << " mirror mismatches\n";
  return 0;
}
