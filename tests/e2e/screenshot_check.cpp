// Reads a screenshot (binary PPM) and checks that its middle holds a
// coloured shape, mirror-symmetric left to right and top to bottom, standing
// in a near-black square. Exit status 0 when it does; a one-line reason else.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace {

struct Rgb {
  int r, g, b;
};

bool nearBlack(Rgb c) {
  return c.r < 24 && c.g < 24 && c.b < 24;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: screenshot_check FILE.ppm\n";
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  std::string magic;
  int w = 0, h = 0, maxval = 0;
  in >> magic >> w >> h >> maxval;
  in.get();
  if (magic != "P6" || w < 300 || h < 300 || maxval != 255) {
    std::cerr << "not a screenshot: " << argv[1] << "\n";
    return 1;
  }
  std::vector<unsigned char> raw(static_cast<std::size_t>(w) * h * 3);
  in.read(reinterpret_cast<char*>(raw.data()), static_cast<std::streamsize>(raw.size()));
  auto at = [&](int x, int y) {
    const unsigned char* p = &raw[(static_cast<std::size_t>(y) * w + x) * 3];
    return Rgb{p[0], p[1], p[2]};
  };
  // The coloured pixels of a window of 300 x 300 round the middle.
  const int x0 = w / 2 - 150, y0 = h / 2 - 150;
  int left = w, right = -1, top = h, bottom = -1, coloured = 0;
  for (int y = y0; y < y0 + 300; ++y)
    for (int x = x0; x < x0 + 300; ++x)
      if (!nearBlack(at(x, y))) {
        ++coloured;
        left = std::min(left, x);
        right = std::max(right, x);
        top = std::min(top, y);
        bottom = std::max(bottom, y);
      }
  if (coloured < 200) {
    std::cerr << "no shape in the middle (" << coloured << " coloured pixels)\n";
    return 1;
  }
  if (left == x0 || right == x0 + 299 || top == y0 || bottom == y0 + 299) {
    std::cerr << "the middle is not a near-black square round a shape\n";
    return 1;
  }
  // Mirror images of the coloured mask about the middle of its box.
  int mismatches = 0;
  for (int y = top; y <= bottom; ++y)
    for (int x = left; x <= right; ++x) {
      const bool here = !nearBlack(at(x, y));
      mismatches += here != !nearBlack(at(left + right - x, y));
      mismatches += here != !nearBlack(at(x, top + bottom - y));
    }
  if (mismatches > coloured / 20) {
    std::cerr << "the shape is not symmetric (" << mismatches << " of " << coloured << ")\n";
    return 1;
  }
  std::printf("shape of %d pixels in a %dx%d box, %d mirror mismatches\n", coloured,
              right - left + 1, bottom - top + 1, mismatches);
  return 0;
}
