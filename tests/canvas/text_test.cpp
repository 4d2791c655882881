// Text from outside: what may stand in a field of a recipe, and how it is
// echoed in a message; and the random source's state read back from text.
#include "canvas/text.h"

#include <gtest/gtest.h>

#include <string>

#include "canvas/random.h"

namespace tavrel {
namespace {

using namespace std::string_literals;

std::string repeated(const std::string& s, int n) {
  return n ? s + repeated(s, n - 1) : "";
}

TEST(Text, QuotedTextIsOnePrintableShortLine) {
  const std::tuple<std::string, std::string, bool> cases[] = {
      {"16", "'16'", true},
      {"", "''", true},
      {"grün", "'grün'", true},  // UTF-8 stays as it is
      {"a\nb\tc\rd", "'a\\nb\\tc\\rd'", false},
      {std::string("a\0b", 3), "'a\\x00b'", false},
      {"\x7f\xc2\x85", "'\\x7f\\xc2\\x85'", false},                    // DEL and a C1 control
      {"\xff\xfe", "'\\xff\\xfe'", false},                             // not UTF-8
      {"\xc0\xaf\xed\xa0\x80", "'\\xc0\\xaf\\xed\\xa0\\x80'", false},  // overlong, surrogate
      {"\xe2\x82", "'\\xe2\\x82'", false},                             // cut short
      // A direction override, a line separator, a zero-width joiner, a BOM:
      // printable, but never shown as they are.
      {"a\u202eb\u2028c\u200dd\ufeff", "'a\\u202eb\\u2028c\\u200dd\\ufeff'", true},
      {std::string(100, 'x'), "'"s + std::string(100, 'x') + "'", true},
      {std::string(101, 'x'), "'"s + std::string(100, 'x') + "...'", true},
      {std::string(99, 'x') + "\n", "'"s + std::string(99, 'x') + "...'", false},
      {std::string(30, '\xe4'), "'"s + repeated("\\xe4", 25) + "...'", false},  // 4 places each
      {repeated("ä", 101), "'"s + repeated("ä", 100) + "...'", true},           // 1 place each
  };
  for (const auto& [text, quoted, printable] : cases) {
    EXPECT_EQ(quotedText(text), quoted) << quoted;
    EXPECT_EQ(isPrintableText(text), printable) << quoted;
  }
}

TEST(Text, ARandomStateIsTakenOnlyAsTheSourceWritesIt) {
  const std::string good = Random(42).state();
  std::string zeros;
  for (int i = 0; i < 625; ++i) zeros += i ? " 0" : "0";
  const auto with = [&](const std::string& from, std::size_t at, std::size_t n,
                        const std::string& to) {
    return from.substr(0, at) + to + from.substr(at + n);
  };
  const auto firstWord = good.find(' ');
  const auto index = good.rfind(' ') + 1;
  const std::pair<std::string, bool> cases[] = {
      {good, true},
      {std::string(2, '0').append(good), true},         // leading zeros
      {with(zeros, 0, 1, "2147483648"), true},          // one live bit
      {zeros, false},                                   // all zero
      {with(zeros, 0, 1, "2147483647"), false},         // only bits never used
      {with(good, 0, firstWord, "4294967296"), false},  // a word of 2^32
      {with(good, 0, firstWord, "-1"), false},          // a negative word
      {with(good, 0, firstWord, "+1"), false},
      {with(good, index, good.size() - index, "625"), false},  // index past the end
      {with(good, index, good.size() - index, "0"), true},
      {good.substr(0, good.rfind(' ')), false},  // a word short
      {good + " 1", false},                      // a word too many
      {with(good, firstWord, 1, "\t"), false},
      {good + "x", false},
  };
  for (const auto& [state, taken] : cases) {
    Random r(7);
    const std::string before = r.state();
    EXPECT_EQ(r.setState(state), taken) << state.substr(0, 40);
    // What is taken is written back as the source writes it.
    EXPECT_EQ(r.state(), !taken ? before : state.starts_with("00") ? good : state);
  }
}

}  // namespace
}  // namespace tavrel
