#include "saver/show.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tavrel::saver {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(SaverBounce, StartsCentredEachWayByACoin) {
  // A window of 400 x 150 around a square of 100; the source of seed 5
  // gives one way each, in the order x, y.
  Random coins(5);
  const bool right = static_cast<int>(2 * coins.Rnd()) == 0;
  const bool down = static_cast<int>(2 * coins.Rnd()) == 0;
  Random directions(5);
  Bounce b = firstBounce(400, 150, directions);
  EXPECT_EQ(std::pair(b.left(), b.top()), std::pair(150, 25));
  b.step();
  EXPECT_EQ(std::pair(b.left(), b.top()), std::pair(right ? 151 : 149, down ? 26 : 24));
  EXPECT_EQ(layoutFor(1921, 1081, std::nullopt), (Layout{2, 960, 540}));
  EXPECT_EQ(layoutFor(0, 0, "3"), (Layout{3, 1, 1}));
}

TEST(SaverUncovered, ClearsExactlyWhatTheMoveLeft) {
  // Every pixel of the old place outside the new one, once; nothing else.
  const Rect was{10, 20, 6, 5};
  for (int dx = -8; dx <= 8; ++dx)
    for (int dy = -7; dy <= 7; ++dy)
      for (int size : {6, 3, 0}) {
        const Rect now{was.x + dx, was.y + dy, size, size};
        const auto parts = uncovered(was, now);
        EXPECT_LE(parts.size(), 4u);
        for (int y = 0; y < 40; ++y)
          for (int x = 0; x < 40; ++x) {
            const auto in = [&](const Rect& r) {
              return x >= r.x && x < r.x + r.width && y >= r.y && y < r.y + r.height;
            };
            ASSERT_EQ(std::count_if(parts.begin(), parts.end(), in), in(was) && !in(now))
                << "move " << dx << "," << dy << " size " << size << " at " << x << "," << y;
          }
      }
}

// The --fps line: 12 program pixels a character, two a dot, white on black;
// a character the font lacks is a space. It counts the frames of the last
// whole second.
TEST(SaverText, TheFrameRateInDotsOfTwoProgramPixels) {
  const auto lit = [](const ImageData& img) { return std::ranges::count(img.pixels, kWhite); };
  const ImageData one = textPicture("1");
  EXPECT_EQ(std::pair(one.width, one.height), std::pair(14, 18));
  EXPECT_EQ(lit(one), 10 * 4);      // the 10 dots of a "1"
  EXPECT_EQ(one.at(6, 2), kWhite);  // its top dot, the font's third column
  EXPECT_EQ(one.at(7, 3), kWhite);
  EXPECT_EQ(lit(textPicture("x?")), 0);
  EXPECT_EQ(textPicture("60.0 fps").width, 98);
  EXPECT_EQ(lit(textPicture("88")), 2 * lit(textPicture("8")));

  Settings s;
  s.fps = true;
  Show show(s, 1);
  const auto t0 = Show::Clock::now();
  show.start(t0);
  for (int i = 1; i < 24; ++i) EXPECT_FALSE(show.drew(t0 + milliseconds(i * 1000 / 24))) << i;
  EXPECT_EQ(show.text(), nullptr);
  EXPECT_TRUE(show.drew(t0 + seconds(1)));
  EXPECT_STREQ(show.rateText(), "24.0 fps");
  ASSERT_NE(show.text(), nullptr);
  EXPECT_EQ(show.text()->pixels, textPicture("24.0 fps").pixels);
  EXPECT_FALSE(show.drew(t0 + milliseconds(1500)));
  EXPECT_TRUE(show.drew(t0 + milliseconds(3000)));
  EXPECT_STREQ(show.rateText(), "1.0 fps");
  EXPECT_EQ(show.textVersion(), 2u);
  s.fps = false;
  EXPECT_FALSE(Show(s, 1).drew(t0 + seconds(5)));
}

// The show's one step: the renderer's pictures in order, whether made ahead
// of a show or when due, each kept in the history at its place in the run;
// the bounce by the clock; nothing taken and nothing woken for while no
// screen can draw; after a stall, one picture and the next an interval later.
TEST(SaverShow, OneStepTakesWhatFellDue) {
  Settings s;
  s.interval = 2;
  s.noHistory = true;
  Pictures renderer(s, 7, 1000, 1000);
  const Picture first = renderer.next(), second = renderer.next(), third = renderer.next(),
                fourth = renderer.next();
  s.noHistory = false;
  Show show(s, 7);
  const auto t0 = Show::Clock::now();
  show.start(t0);
  const int left = show.place(0, 400, 300).left();
  EXPECT_EQ(show.frame(t0, false).wake, Show::kNever);
  EXPECT_EQ(show.picture(), nullptr);
  ASSERT_TRUE(show.frame(t0).picture);
  EXPECT_EQ(show.picture()->pixels, first->pixels);
  // Fast is 60 steps a second: six in a tenth.
  EXPECT_EQ(std::abs(show.place(0, 400, 300).left() - left), 0);
  EXPECT_EQ(show.frame(t0 + milliseconds(100)).wake, t0 + 7 * bounceStepPeriod(true));
  EXPECT_EQ(std::abs(show.place(0, 400, 300).left() - left), 6);
  EXPECT_EQ(show.place(0, 120, 110).left(), 20);  // inside a screen made smaller

  show.prepare();
  const auto t1 = t0 + seconds(60);
  show.start(t1);
  EXPECT_EQ(show.place(0, 400, 300).left(), left);  // from the middle again
  // After a stall, one picture and the next an interval later.
  const std::pair<int, const Picture*> due[] = {
      {0, &second}, {1990, nullptr}, {2000, &third}, {9000, &fourth}, {10990, nullptr}};
  for (const auto& [after, want] : due) {
    ASSERT_EQ(show.frame(t1 + milliseconds(after)).picture, want != nullptr) << after;
    EXPECT_TRUE(!want || show.picture()->pixels == (*want)->pixels) << after;
  }
  EXPECT_EQ(show.pictureVersion(), 4u);

  std::vector<std::pair<std::uint64_t, std::uint32_t>> kept;
  for (const HistoryEntry& e : historyFor("tavrel-saver", false)->entries())
    kept.emplace_back(e.place, e.seed.value_or(0));
  EXPECT_EQ(kept, (decltype(kept){{1, 7}, {2, 7}, {3, 7}, {4, 7}}));
}

}  // namespace
}  // namespace tavrel::saver
