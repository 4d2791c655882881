#include "saver/resident.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <string>

namespace tavrel::saver {
namespace {

using State = Resident::State;

// The state's letter, then the requests it made in brackets when it made any.
std::string said(State s, const Resident::Requests& r) {
  const std::string asked = std::string(r.rearm ? "r" : "") + (r.holdSleep ? "h" : "") +
                            (r.runLock ? "L" : "") + (r.releaseSleep ? "x" : "");
  return "wscle"[static_cast<int>(s)] + (asked.empty() ? "" : "[" + asked + "]");
}

// Each step of a trace is EVENT@SECONDS=STATE, then the requests it made in
// brackets when it made any, then ~SECONDS when wake() is due then (~- for
// never). States: w waiting, s showing, c clearing, l locked, e ended.
// Requests: r rearm the idle watch, h hold sleep, L run the lock command,
// x release sleep. "start" is the state the resident starts in.
struct Row {
  const char* what;
  bool resident;
  int lockAfter;  // 0: none
  const char* trace;
};

constexpr Row kRows[] = {
    {"a show, dismissed, and again", true, 0,
     "start=w[r]~- active@1=w idle@1=s idle@2=s active@3=w[r] idle@9=s"},
    {"the lock command after the pictures, never while they show", true, 5,
     "start=w[rh] idle@10=s~15 tick@14=s tick@15=c~- active@15=c cleared@16=l[L] idle@30=l "
     "active@31=w[r] idle@40=s~45"},
    {"a locker took the keyboard: gone when the user is back", true, 0,
     "start=w[r] idle@0=s lost@1=l idle@9=l active@10=w[r] lost@11=w"},
    {"the desktop's lock is left only when it says so", true, 0,
     "start=w[r] lock@0=l idle@5=l active@6=l unlock@7=w[r] idle@8=s lock@9=l unlock@10=w[r]"},
    {"sleep while the pictures show: down, locked, released when the locker is up", true, 60,
     "start=w[rh] idle@0=s sleep@1=c~4 cleared@1=l[L]~4 ended@2=l[x]~- wake@30=l[h]"},
    {"sleep while waiting: released after 3 s without a locker", true, 60,
     "start=w[rh] sleep@1=l[L]~4 tick@3=l tick@4=l[x]~- ended@5=l"},
    {"sleep while locked, or with the desktop's lock coming: released at once", true, 60,
     "start=w[rh] idle@0=s lost@0=l sleep@1=l[x] wake@9=l[h] unlock@10=w[r] idle@11=s "
     "sleep@12=c lock@12=l[x] cleared@13=l"},
    {"no --lock-after: sleep is none of its business", true, 0, "start=w[r] idle@0=s sleep@1=s~-"},
    {"--wayland: input ends it", false, 0, "start=s active@1=e idle@2=e"},
    {"--wayland: a locker ends it", false, 0, "start=s lost@1=e"},
    {"--wayland with --lock-after: the lock, then the end", false, 2,
     "start=s[h]~2 tick@2=c cleared@2=e[L] lock@3=e"},
};

TEST(SaverResident, TracesOfShowsLocksAndSleep) {
  using Event = void (Resident::*)(Resident::Clock::time_point);
  const std::map<std::string, Event> kEvents = {{"idle", &Resident::idle},
                                                {"active", &Resident::active},
                                                {"lost", &Resident::lostKeyboard},
                                                {"lock", &Resident::locked},
                                                {"unlock", &Resident::unlocked},
                                                {"cleared", &Resident::cleared},
                                                {"ended", &Resident::lockCommandEnded},
                                                {"tick", &Resident::tick}};
  const Resident::Clock::time_point t0{};
  for (const Row& row : kRows) {
    Resident::Config c;
    c.resident = row.resident;
    if (row.lockAfter) c.lockAfter = std::chrono::seconds(row.lockAfter);
    std::optional<Resident> r;
    std::istringstream steps(row.trace);
    for (std::string step; steps >> step;) {
      std::smatch m;
      ASSERT_TRUE(std::regex_match(step, m, std::regex(R"((\w+)(?:@(\d+))?=([^~]*)(?:~(.*))?)")));
      const auto now = t0 + std::chrono::seconds(m[2].matched ? std::stoi(m[2]) : 0);
      if (m[1] == "start") {
        r.emplace(c, now);
      } else if (m[1] == "sleep" || m[1] == "wake") {
        r->sleep(m[1] == "sleep", now);
      } else {
        ASSERT_TRUE(kEvents.contains(m[1])) << step;
        (*r.*kEvents.at(m[1]))(now);
      }
      EXPECT_EQ(said(r->state(), r->take()), m[3]) << row.what << ": " << step;
      const auto due = [&] {
        return m[4] == "-" ? Resident::kNever : t0 + std::chrono::seconds(std::stoi(m[4]));
      };
      EXPECT_TRUE(!m[4].matched || r->wake() == due()) << row.what << ": " << step;
    }
  }
}

}  // namespace
}  // namespace tavrel::saver
