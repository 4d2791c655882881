#include "saver/show.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "canvas/display_scale.h"
#include "pattern/makeshape2.h"
#include "shape/makeshape.h"
#include "stages/stages.h"

namespace tavrel::saver {

namespace {

// The generators need room round their square, and they paint inside a fixed
// 1000-pixel box; within these bounds the pictures don't depend on the
// surface's size.
constexpr int kMinSurface = 120, kMaxSurface = 1000;

int surfaceSide(int side) {
  return std::clamp(side, kMinSurface, kMaxSurface);
}

}  // namespace

Layout layoutFor(int deviceWidth, int deviceHeight, std::optional<std::string_view> scaleOverride) {
  Layout l;
  l.zoom = wholeDisplayScale(deviceWidth, deviceHeight, scaleOverride);
  l.width = std::max(1, deviceWidth / l.zoom);
  l.height = std::max(1, deviceHeight / l.zoom);
  return l;
}

Pictures::Pictures(const Settings& s, std::uint32_t seed, int width, int height)
    : host_(surfaceSide(width), surfaceSide(height)),
      generator_(s.run.generator),
      seed_(seed),
      history_(historyFor("tavrel-saver", s.noHistory)) {
  // The recipe tavrel-render --screensaver starts from with these options.
  stages::startFrom(firstRecipe(s.run, host_.ScaleWidth(), host_.ScaleHeight(), seed), host_, st_);
}

Picture Pictures::next() {
  try {
    if (generator_ == Generator::shape) {
      makeshape(host_, st_);
    } else {
      makeshape2(host_, st_);
    }
  } catch (const ProgramEnded&) {
    return nullptr;
  } catch (const std::exception&) {
    return nullptr;
  }
  ++made_;
  if (history_) history_->add(st_.picture1Recipe, seed_, made_);
  return host_.SurfacePicture1().Image();
}

Bounce firstBounce(int width, int height, Random& directions) {
  const bool right = static_cast<int>(2 * directions.Rnd()) == 0;
  const bool down = static_cast<int>(2 * directions.Rnd()) == 0;
  return Bounce(width, height, kSquare, width / 2 - kSquare / 2, height / 2 - kSquare / 2, right,
                down);
}

Timeline::Timeline(Clock::time_point start, Clock::duration interval, Clock::duration stepPeriod)
    : interval_(interval), steps_(start, stepPeriod), nextPicture_(start) {}

Timeline::Due Timeline::take(Clock::time_point now) {
  Due due;
  due.steps = steps_.take(now);
  if (now >= nextPicture_) {
    due.picture = true;
    nextPicture_ += interval_;
    if (nextPicture_ <= now) nextPicture_ = now + interval_;
  }
  return due;
}

std::vector<Rect> uncovered(const Rect& was, const Rect& now) {
  std::vector<Rect> out;
  const auto add = [&](int x0, int y0, int x1, int y1) {
    if (x1 > x0 && y1 > y0) out.push_back({x0, y0, x1 - x0, y1 - y0});
  };
  const int wx1 = was.x + was.width, wy1 = was.y + was.height;
  const int nx1 = now.x + now.width, ny1 = now.y + now.height;
  if (now.empty()) {
    add(was.x, was.y, wx1, wy1);
    return out;
  }
  add(was.x, was.y, wx1, std::min(wy1, now.y));
  add(was.x, std::max(was.y, ny1), wx1, wy1);
  const int y0 = std::max(was.y, now.y), y1 = std::min(wy1, ny1);
  add(was.x, y0, std::min(wx1, now.x), y1);
  add(std::max(was.x, nx1), y0, wx1, y1);
  return out;
}

namespace {

// Rows of five dots, top to bottom, the leftmost dot the highest bit.
struct Glyph {
  char c;
  std::uint8_t rows[7];
};
constexpr Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {'f', {0x06, 0x09, 0x08, 0x1C, 0x08, 0x08, 0x08}},
    {'p', {0x00, 0x00, 0x1E, 0x11, 0x1E, 0x10, 0x10}},
    {'s', {0x00, 0x00, 0x0F, 0x10, 0x0E, 0x01, 0x1E}},
};
constexpr int kDot = 2, kAdvance = 6, kRows = 7;

}  // namespace

ImageData textPicture(std::string_view text) {
  ImageData img;
  img.width = (static_cast<int>(text.size()) * kAdvance + 1) * kDot;
  img.height = (kRows + 2) * kDot;
  img.pixels.assign(static_cast<std::size_t>(img.width) * img.height, kBlack);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto* g = std::find_if(std::begin(kFont), std::end(kFont),
                                 [&](const Glyph& f) { return f.c == text[i]; });
    if (g == std::end(kFont)) continue;
    for (int row = 0; row < kRows; ++row)
      for (int col = 0; col < 5; ++col) {
        if (!(g->rows[row] >> (4 - col) & 1)) continue;
        const int x0 = (static_cast<int>(i) * kAdvance + 1 + col) * kDot, y0 = (row + 1) * kDot;
        for (int y = y0; y < y0 + kDot; ++y)
          for (int x = x0; x < x0 + kDot; ++x)
            img.pixels[static_cast<std::size_t>(y) * img.width + x] = kWhite;
      }
  }
  return img;
}

Show::Show(const Settings& s, std::uint32_t seed, Clock::duration lead)
    : seed_(seed),
      lead_(lead),
      fps_(s.fps),
      pictures_(s, seed, kMaxSurface, kMaxSurface),
      timeline_(Clock::now(), std::chrono::seconds(s.interval),
                bounceStepPeriod(s.speed == Speed::fast)),
      rate_(Clock::now()) {}

void Show::start(Clock::time_point now) {
  bounces_.clear();
  timeline_ = Timeline(now, timeline_.interval(), timeline_.stepPeriod());
  rate_ = FrameRate(now);
  if (prepared_) {
    current_ = std::move(prepared_);
    ++pictureVersion_;
    newPicture_ = true;
    timeline_.nextPictureAt(now + timeline_.interval());
  }
}

void Show::prepare() {
  if (!prepared_) prepared_ = pictures_.next();
}

Random& Show::directions(int key) {
  // The first screen's as the X module's always were; the others from
  // sources of their own.
  return directions_.try_emplace(key, (seed_ ^ 0x9E3779B9u) + static_cast<std::uint32_t>(key))
      .first->second;
}

const Bounce& Show::place(int key, int width, int height) {
  auto it = bounces_.find(key);
  if (it == bounces_.end()) {
    return bounces_.emplace(key, firstBounce(width, height, directions(key))).first->second;
  }
  it->second.resize(width, height);
  return it->second;
}

void Show::forget(int key) {
  bounces_.erase(key);
}

Show::Frame Show::frame(Clock::time_point now, bool canDraw) {
  Frame f;
  if (!canDraw) return f;
  const Timeline::Due due = timeline_.take(now + lead_);
  for (auto& [key, bounce] : bounces_)
    for (int i = 0; i < due.steps; ++i) bounce.step();
  if (due.picture) {
    // A failed generation leaves the picture as it was.
    if (Picture made = pictures_.next()) {
      current_ = std::move(made);
      ++pictureVersion_;
      newPicture_ = true;
    }
  }
  f.picture = std::exchange(newPicture_, false);
  f.wake = timeline_.wake() - lead_;
  return f;
}

bool Show::drew(Clock::time_point now) {
  if (!fps_ || !rate_.frame(now)) return false;
  text_ = textPicture(rate_.text());
  ++textVersion_;
  return true;
}

bool FrameRate::frame(Timeline::Clock::time_point now) {
  ++frames_;
  if (now - since_ < std::chrono::seconds(1)) return false;
  const double seconds = std::chrono::duration<double>(now - since_).count();
  std::snprintf(text_, sizeof text_, "%.1f fps", frames_ / seconds);
  frames_ = 0;
  since_ = now;
  return true;
}

}  // namespace tavrel::saver
