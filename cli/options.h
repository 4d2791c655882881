// Command-line options as one table: parsing, defaults, --help and the error
// messages all come from it. Shared by the programs that run without a
// window.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "canvas/text.h"
#include "state/choices.h"

namespace tavrel::cli {

// A failed check gives its message without the option's name.
using Check = std::optional<std::string>;
inline const Check kOk = std::nullopt;

template <typename Settings>
struct Option {
  std::string_view name;      // with its two dashes: "--seed"
  std::string_view value;     // what it takes, shown in --help; empty for a switch
  std::string_view fallback;  // the default, parsed like a given value; empty for none
  std::string_view help;
  Check (*apply)(Settings&, std::string_view);
  // Which options can't go together: an option given with another whose
  // `kind` has a bit of its `excludes` is refused (see conflict).
  unsigned kind = 0, excludes = 0;
};

// A whole decimal number that fills the text, nothing else.
template <typename T>
std::optional<T> wholeNumber(std::string_view text) {
  T value{};
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc{} || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

// The common setters: a whole number in a range ("'0' is not a zoom from 1
// to 16"), a seed, and a switch that sets a flag of the settings.
inline Check readWhole(std::string_view v, int low, int high, std::string_view what, int& out) {
  const auto n = wholeNumber<int>(v);
  if (!n || *n < low || *n > high)
    return quotedText(v) + " is not " + std::string(what) + " from " + std::to_string(low) +
           " to " + std::to_string(high);
  out = *n;
  return kOk;
}

inline Check readSeed(std::string_view v, std::optional<std::uint32_t>& out) {
  const auto n = wholeNumber<std::uint64_t>(v);
  if (!n || *n > 4294967295u) return quotedText(v) + " is not a seed from 0 to 4294967295";
  out = static_cast<std::uint32_t>(*n);
  return kOk;
}

// One of a choice's words ("colors must be true, basic or user, not 'x'");
// `allowed`, when given, narrows the words a program takes.
template <typename Choice>
Check readChoice(std::string_view v, Choice& out, std::initializer_list<Choice> allowed = {}) {
  const auto takes = [&](Choice c) {
    return allowed.size() == 0 || std::find(allowed.begin(), allowed.end(), c) != allowed.end();
  };
  const auto c = choiceOf<Choice>(v);
  if (c && takes(*c)) {
    out = *c;
    return kOk;
  }
  std::vector<std::string_view> words;
  for (const auto& [choice, word] : Vocabulary<Choice>::words)
    if (takes(choice)) words.push_back(word);
  std::string list;
  for (std::size_t i = 0; i < words.size(); ++i)
    list.append(i == 0 ? "" : i + 1 == words.size() ? " or " : ", ").append(words[i]);
  return std::string(Vocabulary<Choice>::name) + " must be " + list + ", not " + quotedText(v);
}

template <auto Flag, typename Settings>
Check setSwitch(Settings& s, std::string_view) {
  s.*Flag = true;
  return kOk;
}

// Options as `--name value` or `--name=value`; with `singleDash`, `-name`
// too. Defaults go through the same parsers as given values, so the table
// is the one place that knows them. Gives the settings, or the message for
// the first bad argument. `seen`, when there is one, receives the name of
// each option the arguments set, for options that exclude others.
template <typename Settings>
std::variant<Settings, std::string> parse(std::span<const Option<Settings>> table,
                                          std::span<char* const> args, bool singleDash = false,
                                          std::vector<std::string_view>* seen = nullptr) {
  Settings s;
  for (const auto& o : table)
    if (!o.fallback.empty()) o.apply(s, o.fallback);
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string_view given = args[i];
    std::string_view arg = given;
    std::string doubled;
    if (arg == "-h") {
      arg = "--help";  // help's short form in every program
    } else if (singleDash && arg.size() > 1 && arg[0] == '-' && arg[1] != '-') {
      doubled.assign(1, '-').append(arg);  // not "-" + string: a false -Wrestrict in g++ 12
      arg = doubled;
    }
    std::optional<std::string_view> inlineValue;
    if (const auto eq = arg.find('='); arg.starts_with("--") && eq != std::string_view::npos) {
      inlineValue = arg.substr(eq + 1);
      arg = arg.substr(0, eq);
    }
    const auto o =
        std::find_if(table.begin(), table.end(), [&](const auto& e) { return e.name == arg; });
    if (o == table.end()) return "unknown option " + quotedText(given);
    std::string_view value;
    if (o->value.empty()) {
      if (inlineValue) return std::string(arg) + " takes no value";
    } else if (inlineValue) {
      value = *inlineValue;
    } else if (i + 1 < args.size()) {
      value = args[++i];
    } else {
      return std::string(arg) + " needs a value (" + std::string(o->value) + ")";
    }
    if (Check c = o->apply(s, value)) return std::string(arg) + ": " + *c;
    if (seen) seen->push_back(o->name);
  }
  return s;
}

// The first pair among the options given that can't go together, either
// way round: "--seed can't go with --from".
template <typename Settings>
Check conflict(std::span<const Option<Settings>> table, std::span<const std::string_view> given) {
  const auto find = [&](std::string_view name) {
    return std::find_if(table.begin(), table.end(), [&](const auto& o) { return o.name == name; });
  };
  for (std::size_t i = 0; i < given.size(); ++i)
    for (std::size_t j = 0; j < i; ++j) {
      const auto a = find(given[j]), b = find(given[i]);
      if ((a->excludes & b->kind) || (b->excludes & a->kind))
        return std::string(b->name) + " can't go with " + std::string(a->name);
    }
  return kOk;
}

// One line per option, its default on a line of its own when the line would
// pass 80 columns.
template <typename Settings>
std::string optionsHelp(std::span<const Option<Settings>> table) {
  constexpr std::size_t kColumn = 26;
  std::string out;
  for (const auto& o : table) {
    std::string line = "  ";
    line.append(o.name);
    if (!o.value.empty()) line.append(" ").append(o.value);
    line.resize(std::max(line.size() + 1, kColumn + 2), ' ');
    line.append(o.help);
    if (!o.fallback.empty()) {
      std::string fallback = "(default: ";
      fallback.append(o.fallback).append(")");
      if (line.size() + 1 + fallback.size() > 80) {
        line.append("\n").append(kColumn + 2, ' ');
      } else {
        line.append(" ");
      }
      line.append(fallback);
    }
    out += line + "\n";
  }
  return out;
}

}  // namespace tavrel::cli
