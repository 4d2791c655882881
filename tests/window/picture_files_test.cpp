// Bitmap files read through Qt behind header checks: the kinds common tools
// write decode to their pixels; broken or oversized ones give nothing.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>

#include "canvas/image_io.h"
#include "window/picture_file.h"

namespace tavrel {
namespace {

// 7 x 5, so rows of 1 to 24 bits need padding. The pixels cycle through
// `colours` colours whose channels are multiples of 0x40: 5-bit fields keep
// them apart.
ImageData pattern(int colours) {
  ImageData img{7, 5, {}};
  for (int i = 0; i < 35; ++i) {
    const int c = i % colours;
    img.pixels.push_back(
        static_cast<Colour>(c % 4 * 0x40 | c / 4 % 4 * 0x4000 | c / 16 * 0x400000));
  }
  return img;
}

QByteArray asBytes(const Bytes& b) {
  return QByteArray(reinterpret_cast<const char*>(b.data()), static_cast<qsizetype>(b.size()));
}

// `b` with the `bytes`-byte field at `at` set to `v`.
QByteArray with(QByteArray b, int at, std::uint32_t v, int bytes = 4) {
  for (int i = 0; i < bytes; ++i) b[at + i] = char(v >> (8 * i));
  return b;
}
std::uint32_t get(const QByteArray& b, int at) {
  return b.size() < at + 4 ? 0 : qFromLittleEndian<std::uint32_t>(b.constData() + at);
}

// An 8-bit run-length bitmap whose data ends at once: a few bytes at any size.
QByteArray rle8(int width, int height) {
  QByteArray b = asBytes(encodeBmp(ImageData{1, 1, {0}})).first(54) + QByteArray(1024, 0) +
                 QByteArray("\0\1", 2);
  // Where the data starts, the size, run-length, the data's length.
  for (auto [at, value] : {std::pair{10, 54 + 1024}, {18, width}, {22, height}, {30, 1}, {34, 2}})
    b = with(b, at, value);
  return with(b, 28, 8, 2);
}

struct PictureFiles : testing::Test {
  QString write(const QByteArray& bytes, const QString& name = "file.bmp") const {
    QFile f(dir_.filePath(name));
    EXPECT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
    return f.fileName();
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
      {"8-bit RLE", 35, palette, "BMP3", 40, 8, 1, 0},
      {"8-bit, 12-byte header", 35, palette, "BMP2", 12, 8, 0, 0},
      {"16-bit 5-6-5 bit fields", 35, {"-define", "bmp:subtype=RGB565"}, "BMP", 124, 16, 3, 8},
      {"24-bit", 35, {}, "BMP3", 40, 24, 0, 0},
      {"32-bit bit fields, alpha dropped", 35, halfTransparent, "BMP", 124, 32, 3, 0},
  };
  for (const Made& m : made) {
    SCOPED_TRACE(m.kind);
    const ImageData want = pattern(m.colours);
    QByteArray ppm("P6 7 5 255\n");
    for (Colour c : want.pixels) ppm.append(char(c)).append(char(c >> 8)).append(char(c >> 16));
    QProcess convert;
    convert.start("convert",
                  QStringList{"ppm:-"} + m.options + QStringList{m.format + QString(":-")});
    convert.write(ppm);
    convert.closeWriteChannel();
    ASSERT_TRUE(convert.waitForFinished());
    const QByteArray made = convert.readAllStandardOutput();
    // What the case claims to cover.
    ASSERT_EQ(get(made, 14), m.headerSize);
    if (m.headerSize > 12) {
      ASSERT_EQ((get(made, 28) & 0xFFFF) << 8 | get(made, 30), m.bits << 8 | m.compression);
    }
    const auto got = readBitmap(write(made));
    ASSERT_TRUE(got);
    ASSERT_EQ(got->pixels.size(), want.pixels.size());
    for (std::size_t i = 0; i < want.pixels.size(); ++i)
      for (int shift : {0, 8, 16}) {
        const int lost = int(want.pixels[i] >> shift & 0xFF) - int(got->pixels[i] >> shift & 0xFF);
        EXPECT_TRUE(lost >= 0 && lost <= m.step) << i << " " << std::hex << got->pixels[i];
      }
  }
  // Rows stored top-down: the program's own file (as the 24-bit row) turned over.
  const QByteArray bottomUp = asBytes(encodeBmp(pattern(35)));
  QByteArray topDown = bottomUp.first(54);
  for (int row = 4; row >= 0; --row) topDown += bottomUp.mid(54 + 24 * row, 24);
  EXPECT_EQ(readBitmap(write(with(topDown, 22, -5))), pattern(35));
}

// Sizes up to the limits, inclusive, read; broken files give nothing.
TEST_F(PictureFiles, BrokenOrOversizedFilesGiveNothing) {
  const QByteArray good = asBytes(encodeBmp(pattern(35)));  // 24-bit, 54 + 5 * 24 bytes
  for (auto [w, h] :
       {std::pair{7, 5}, {4096, 4096}, {kMaxBitmapSide, 2048}, {2048, kMaxBitmapSide}})
    EXPECT_EQ(readBitmap(write(rle8(w, h))).value_or(ImageData{}).pixels.size(), 1ul * w * h) << w;
  ASSERT_TRUE(readBitmap(write(good)));
  QByteArray fourBits = rle8(7, 5);  // now uncompressed, 17 colours of 4 bits
  for (auto [at, value] : {std::pair{10, 54 + 17 * 4}, {30, 0}, {46, 17}, {28, 4}})
    fourBits = with(fourBits, at, value, at == 28 ? 2 : 4);
  const std::pair<const char*, QByteArray> broken[] = {
      {"not BM", with(good, 0, 'X', 1)},
      {"100000 x 100000 in 1 KB", with(with(good, 18, 100000), 22, 100000)},
      {"zero width", with(good, 18, 0)},
      {"negative width", with(good, 18, -7)},
      {"zero height", with(good, 22, 0)},
      {"two planes", with(good, 26, 2, 2)},
      {"2 bits per pixel", with(good, 28, 2, 2)},
      {"JPEG inside", with(good, 30, 4)},
      {"RLE on 24 bits", with(good, 30, 1)},
      {"unknown header size", with(good, 14, 44)},
      {"data offset inside the header", with(good, 10, 53)},
      {"data offset past the file", with(good, 10, good.size())},
      {"data offset inside the palette", with(rle8(7, 5), 10, 54 + 1020)},
      {"more colours than 4 bits hold", fourBits},
      {"bit fields without room for masks", with(with(good + QByteArray(20, 0), 28, 32, 2), 30, 3)},
      {"RLE stored top-down", with(rle8(7, 5), 22, -5)},
      {"RLE without its length", with(rle8(7, 5), 34, 0)},
      {"a PNG under a .bmp name", asBytes(encodePng(pattern(35)))},
      {"4097 x 4096", rle8(4097, 4096)},
      {"one too wide", rle8(kMaxBitmapSide + 1, 1)},
      {"one too tall", rle8(1, kMaxBitmapSide + 1)},
  };
  for (const auto& [kind, bytes] : broken) EXPECT_FALSE(readBitmap(write(bytes))) << kind;
  // Every cut of a whole file, down to an empty one.
  for (qsizetype n = 0; n < good.size(); ++n) EXPECT_FALSE(readBitmap(write(good.first(n)))) << n;
  // Nobody writes into this pipe: reading it would wait for ever.
  ASSERT_EQ(::mkfifo(dir_.filePath("pipe.bmp").toLocal8Bit().constData(), 0600), 0);
  EXPECT_FALSE(readBitmap(dir_.filePath("pipe.bmp")));
}

}  // namespace
}  // namespace tavrel
