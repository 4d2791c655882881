// Bitmap files read through Qt: every kind common tools write decodes to
// the right pixels; every broken kind gives nothing, whatever it declares.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <functional>

#include "canvas/image_io.h"
#include "window/form.h"
#include "window/picture_file.h"

namespace tavrel {

// Failures show sizes and the first pixels, not raw bytes.
void PrintTo(const ImageData& img, std::ostream* os) {
  *os << img.width << " x " << img.height << std::hex;
  for (std::size_t i = 0; i < img.pixels.size() && i < 8; ++i) *os << " " << img.pixels[i];
}

namespace {

// 7 x 5: rows of 1, 8, 16 and 24 bits need padding. The pixels cycle
// through `colours` colours whose channels are multiples of 0x40: even 5-bit
// fields keep them apart.
Colour cube(int i) {
  return static_cast<Colour>((i % 4) * 0x40 | (i / 4 % 4) * 0x40 << 8 | (i / 16 % 4) * 0x40 << 16);
}
ImageData pattern(int colours) {
  ImageData img{7, 5, {}};
  for (int i = 0; i < 35; ++i) img.pixels.push_back(cube(i % colours));
  return img;
}

QByteArray bytes(std::initializer_list<int> values) {
  QByteArray out;
  for (int v : values) out.append(char(v));
  return out;
}

// Same size, and every channel of every pixel at most `step` lower.
bool within(const ImageData& got, const ImageData& want, int step) {
  if (got.width != want.width || got.height != want.height) return false;
  for (std::size_t i = 0; i < got.pixels.size(); ++i)
    for (int shift : {0, 8, 16}) {
      const int lost = int(want.pixels[i] >> shift & 0xFF) - int(got.pixels[i] >> shift & 0xFF);
      if (lost < 0 || lost > step) return false;
    }
  return true;
}

QByteArray ppm(const ImageData& img) {
  QByteArray out = QString("P6 %1 %2 255\n").arg(img.width).arg(img.height).toLatin1();
  for (Colour c : img.pixels) out += bytes({char(c & 0xFF), char(c >> 8 & 0xFF), char(c >> 16)});
  return out;
}

void put(QByteArray& b, int at, std::uint32_t v, int bytes = 4) {
  if (b.size() < at + bytes) b.resize(at + bytes);
  for (int i = 0; i < bytes; ++i) b[at + i] = char(v >> (8 * i));
}
std::uint32_t get(const QByteArray& b, int at, int bytes = 4) {
  if (b.size() < at + bytes) return 0;
  std::uint32_t v = 0;
  for (int i = 0; i < bytes; ++i) v |= std::uint32_t{std::uint8_t(b[at + i])} << (8 * i);
  return v;
}

// A bitmap with the common 40-byte header; `tables` (masks or palette) lie
// between the header and `data`.
QByteArray bitmap(int width, int height, int bits, int compression, const QByteArray& tables,
                  const QByteArray& data, int coloursUsed = 0) {
  QByteArray b("BM");
  put(b, 2, 54 + tables.size() + data.size());
  put(b, 6, 0);
  put(b, 10, 54 + tables.size());
  put(b, 14, 40);
  put(b, 18, width);
  put(b, 22, height);
  put(b, 26, 1, 2);
  put(b, 28, bits, 2);
  put(b, 30, compression);
  put(b, 34, data.size());
  put(b, 38, 3780);
  put(b, 42, 3780);
  put(b, 46, coloursUsed);
  put(b, 50, 0);
  return b + tables + data;
}

QByteArray palette(int entries) {
  QByteArray p;
  for (int i = 0; i < entries; ++i) {
    const Colour c = cube(i);
    p += bytes({char(c >> 16), char(c >> 8 & 0xFF), char(c & 0xFF), 0});
  }
  return p;
}

// Row y of the hand-made run-length files: an encoded run of three pixels,
// then four pixels in absolute mode.
int rleIndex(int x, int y) {
  static const int row[7] = {1, 2, 1, 3, 4, 5, 6};
  return (row[x] + y) % 16;
}

QByteArray rle4() {
  QByteArray data;
  for (int y = 4; y >= 0; --y) {
    auto two = [y](int x) { return char(rleIndex(x, y) << 4 | rleIndex(x + 1, y)); };
    data += bytes({3, two(0), 0, 4, two(3), two(5), 0, 0});
  }
  data += bytes({0, 1});
  return bitmap(7, 5, 4, 2, palette(16), data);
}

ImageData rlePattern() {
  ImageData img{7, 5, {}};
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 7; ++x) img.pixels.push_back(cube(rleIndex(x, y)));
  return img;
}

// The pattern as 16-bit 5-5-5 pixels bottom-up, or as 32-bit ones top-down.
QByteArray uncompressed(int bits) {
  const ImageData img = pattern(35);
  QByteArray data;
  for (int row = 0; row < 5; ++row) {
    for (int x = 0; x < 7; ++x) {
      const Colour c = img.at(x, bits == 16 ? 4 - row : row);
      const int r = c & 0xFF, g = c >> 8 & 0xFF, b = c >> 16,
                v = r >> 3 << 10 | g >> 3 << 5 | b >> 3;
      data += bits == 16 ? bytes({v & 0xFF, v >> 8}) : bytes({b, g, r, 0});
    }
    if (bits == 16) data += bytes({0, 0});
  }
  return bitmap(7, bits == 16 ? 5 : -5, bits, 0, {}, data);
}

QByteArray asBytes(const Bytes& b) {
  return QByteArray(reinterpret_cast<const char*>(b.data()), static_cast<qsizetype>(b.size()));
}

class PictureFiles : public ::testing::Test {
 protected:
  QString path(const QString& name) const { return dir_.filePath(name); }
  QString write(const QString& name, const QByteArray& bytes) const {
    QFile f(path(name));
    EXPECT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
    return path(name);
  }
  // The bytes of ImageMagick's convert of `img` with `options` into `format`
  // ("BMP3" ...), left in `name`; nothing when convert fails.
  QByteArray convert(const ImageData& img, const QStringList& options, const QString& format,
                     const QString& name) const {
    write("in.ppm", ppm(img));
    QFile made(path(name));
    if (QProcess::execute("convert", QStringList{path("in.ppm")} + options +
                                         QStringList{format + ":" + path(name)}) != 0 ||
        !made.open(QIODevice::ReadOnly))
      return {};
    return made.readAll();
  }

  QTemporaryDir dir_;
};

TEST_F(PictureFiles, EveryCommonKindDecodesToItsPixels) {
  if (QStandardPaths::findExecutable("convert").isEmpty()) GTEST_SKIP() << "needs ImageMagick";
  struct Made {
    const char* kind;
    int colours;
    QStringList options;
    const char* format;
    int headerSize, bits, compression;
    int step;  // convert rounds 8-bit channels down into 5 and 6-bit fields
  };
  const QStringList palette = {"-type", "palette"};
  const QStringList halfTransparent = {"-alpha",    "set", "-channel", "A",
                                       "-evaluate", "set", "50%",      "+channel"};
  const Made made[] = {
      {"1-bit", 2, palette, "BMP3", 40, 1, 0, 0},
      {"4-bit", 12, palette, "BMP3", 40, 4, 0, 0},
      {"8-bit", 35, palette + QStringList{"-compress", "None"}, "BMP3", 40, 8, 0, 0},
      {"8-bit RLE, convert's default", 35, palette, "BMP3", 40, 8, 1, 0},
      {"16-bit 5-6-5 bit fields", 35, {"-define", "bmp:subtype=RGB565"}, "BMP", 124, 16, 3, 8},
      {"16-bit 5-5-5 bit fields", 35, {"-define", "bmp:subtype=RGB555"}, "BMP", 124, 16, 3, 8},
      {"24-bit", 35, {}, "BMP3", 40, 24, 0, 0},
      {"24-bit, large header", 35, {}, "BMP", 124, 24, 0, 0},
      {"32-bit bit fields, alpha dropped", 35, halfTransparent, "BMP", 124, 32, 3, 0},
  };
  for (const Made& m : made) {
    SCOPED_TRACE(m.kind);
    const ImageData img = pattern(m.colours);
    const QByteArray file = convert(img, m.options, m.format, "made.bmp");
    ASSERT_FALSE(file.isEmpty());
    ASSERT_EQ(get(file, 14), m.headerSize);  // what the case claims to cover
    ASSERT_EQ(get(file, 28, 2), m.bits);
    ASSERT_EQ(get(file, 30), m.compression);
    const auto got = readBitmap(path("made.bmp"));
    ASSERT_TRUE(got);
    EXPECT_TRUE(within(*got, img, m.step)) << ::testing::PrintToString(*got);
  }
  // The small 12-byte header.
  for (int colours : {12, 35}) {
    ASSERT_EQ(get(convert(pattern(colours), palette, "BMP2", "small.bmp"), 14), 12u);
    EXPECT_EQ(readBitmap(path("small.bmp")), pattern(colours)) << colours << " colours";
  }
}

TEST_F(PictureFiles, HandMadeKindsDecodeToTheirPixels) {
  const struct {
    const char* kind;
    QByteArray file;
    ImageData img;
  } made[] = {
      {"4-bit RLE, encoded and absolute runs", rle4(), rlePattern()},
      {"16-bit 5-5-5 without bit fields", uncompressed(16), pattern(35)},
      {"32-bit rows top-down", uncompressed(32), pattern(35)},
  };
  for (const auto& m : made) {
    EXPECT_EQ(readBitmap(write("hand.bmp", m.file)), m.img) << m.kind;
  }
  // What the program writes reads back the same, at every row padding.
  for (int w = 1; w <= 5; ++w) {
    ImageData img{w, 3, {}};
    for (int i = 0; i < 3 * w; ++i) img.pixels.push_back(static_cast<Colour>(0x102030 * (i + 1)));
    EXPECT_EQ(readBitmap(write("own.bmp", asBytes(encodeBmp(img)))), img) << w;
  }
}

TEST_F(PictureFiles, BrokenFilesGiveNothing) {
  const QByteArray good = asBytes(encodeBmp(pattern(35)));  // 24-bit, 54 + 5 * 24 bytes
  const QByteArray eightBit = bitmap(7, 5, 8, 0, palette(256), QByteArray(5 * 8, 1));
  ASSERT_TRUE(readBitmap(write("good.bmp", good)));
  ASSERT_TRUE(readBitmap(write("eight.bmp", eightBit)));
  ASSERT_TRUE(readBitmap(write("rle.bmp", rle4())));

  using Change = std::function<void(QByteArray&)>;
  const struct {
    const char* kind;
    QByteArray base;
    Change change;
  } broken[] = {
      {"not BM", good, [](QByteArray& b) { b[0] = 'X'; }},
      {"100000 x 100000 in 1 KB", good,
       [](QByteArray& b) { put(b, 18, 100000), put(b, 22, 100000), b.resize(1024); }},
      {"zero width", good, [](QByteArray& b) { put(b, 18, 0); }},
      {"negative width", good, [](QByteArray& b) { put(b, 18, -7); }},
      {"zero height", good, [](QByteArray& b) { put(b, 22, 0); }},
      {"most negative height", good, [](QByteArray& b) { put(b, 22, 0x80000000u); }},
      {"two planes", good, [](QByteArray& b) { put(b, 26, 2, 2); }},
      {"2 bits per pixel", good, [](QByteArray& b) { put(b, 28, 2, 2); }},
      {"64 bits per pixel", good, [](QByteArray& b) { put(b, 28, 64, 2); }},
      {"JPEG inside", good, [](QByteArray& b) { put(b, 30, 4); }},
      {"PNG inside", good, [](QByteArray& b) { put(b, 30, 5); }},
      {"RLE on 24 bits", good, [](QByteArray& b) { put(b, 30, 1); }},
      {"bit fields on 24 bits", good, [](QByteArray& b) { put(b, 30, 3); }},
      {"unknown header size", good, [](QByteArray& b) { put(b, 14, 44); }},
      {"header size past the file", good, [](QByteArray& b) { put(b, 14, 0xFFFFFFF0u); }},
      {"data offset inside the header", good, [](QByteArray& b) { put(b, 10, 30); }},
      {"data offset past the file", good, [](QByteArray& b) { put(b, 10, 0xFFFFFFF0u); }},
      {"data offset inside the palette", eightBit, [](QByteArray& b) { put(b, 10, 54 + 100); }},
      {"more colours than 4 bits hold", bitmap(7, 5, 4, 0, palette(17), QByteArray(20, 1), 17),
       [](QByteArray&) {}},
      {"bit fields without room for masks", good,
       [](QByteArray& b) { put(b, 28, 32, 2), put(b, 30, 3), b.append(5 * 4, 0); }},
      {"RLE stored top-down", rle4(), [](QByteArray& b) { put(b, 22, -5); }},
      {"RLE without its length", rle4(), [](QByteArray& b) { put(b, 34, 0); }},
      {"a PNG under a .bmp name", asBytes(encodePng(pattern(35))), [](QByteArray&) {}},
      {"text", QByteArray("BM not a bitmap at all"), [](QByteArray&) {}},
  };
  for (const auto& c : broken) {
    QByteArray bytes = c.base;
    c.change(bytes);
    EXPECT_FALSE(readBitmap(write("broken.bmp", bytes))) << c.kind;
  }
  // Every cut of a whole file, down to an empty one.
  for (const QByteArray& whole : {good, rle4()})
    for (qsizetype n = 0; n < whole.size(); ++n)
      EXPECT_FALSE(readBitmap(write("cut.bmp", whole.first(n)))) << "cut at " << n;

  EXPECT_FALSE(readBitmap(path("missing.bmp")));
  ASSERT_TRUE(QDir(dir_.path()).mkdir("folder.bmp"));
  EXPECT_FALSE(readBitmap(path("folder.bmp")));
  // Nobody writes into this pipe: reading it would wait for ever.
  ASSERT_EQ(::mkfifo(path("pipe.bmp").toLocal8Bit().constData(), 0600), 0);
  EXPECT_FALSE(readBitmap(path("pipe.bmp")));
}

TEST_F(PictureFiles, SizeLimitsAreInclusive) {
  // Run-length files: a picture at a limit in a file of a few bytes.
  auto fits = [this](int w, int h) {
    return readBitmap(write("big.bmp", bitmap(w, h, 8, 1, palette(256), bytes({0, 1}))));
  };
  const auto atPixelLimit = fits(4096, 4096);
  ASSERT_TRUE(atPixelLimit);
  EXPECT_EQ(atPixelLimit->pixels.size(), std::size_t{1} << 24);
  EXPECT_TRUE(fits(kMaxBitmapSide, 2048));
  EXPECT_TRUE(fits(2048, kMaxBitmapSide));
  EXPECT_FALSE(fits(4097, 4096));
  EXPECT_FALSE(fits(kMaxBitmapSide + 1, 1));
  EXPECT_FALSE(fits(1, kMaxBitmapSide + 1));
}

TEST_F(PictureFiles, TheWindowLoadsThroughTheReader) {
  Form form(1);
  const QString old = QDir::currentPath();
  QDir::setCurrent(dir_.path());
  write("rle.bmp", rle4());
  write("broken.bmp", QByteArray("BM not a bitmap at all"));
  Picture p;
  EXPECT_TRUE(form.LoadPicture("rle.bmp", p));
  ASSERT_TRUE(p);
  EXPECT_EQ(*p, rlePattern());
  const Picture kept = p;
  EXPECT_FALSE(form.LoadPicture("broken.bmp", p));
  EXPECT_FALSE(form.LoadPicture("missing.bmp", p));
  EXPECT_EQ(p, kept);
  QDir::setCurrent(old);
}

}  // namespace
}  // namespace tavrel

// Form needs widgets; the off-screen platform unless the caller chose one.
int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
