// The history reader: what it accepts is written back to the very same text,
// and every entry in it is in order after the header's number.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/check.h"
#include "history/history.h"

using namespace tavrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto history = parseHistory(text);
  if (!history) return 0;
  std::string written = historyHeader(history->after);
  std::uint64_t last = history->after;
  for (const HistoryEntry& e : history->entries) {
    fuzz::require(e.number > last, "numbers rise after the header's");
    last = e.number;
    written += historyRecord(e);
  }
  fuzz::require(written == text, "a history read is written back the same");
  return 0;
}
