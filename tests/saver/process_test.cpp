#include "saver/process.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/temp_dir.h"

namespace tavrel::saver {
namespace {

namespace fs = std::filesystem;

// One holder per display; a display given as a path is named by its last
// part; a link where the file should be is refused, never followed.
TEST(SaverProcess, OneLockFilePerDisplay) {
  const testing_support::TempDir dir;
  const std::string runtime = dir.path.string();
  fs::create_symlink("/etc/passwd", dir.path / "tavrel-saver-linked.lock");
  const auto first = holdDisplayLock(runtime.c_str(), "wayland-1");
  const std::string taken =
      "another tavrel-saver --idle is already running on the Wayland display 'wayland-1'";
  ASSERT_TRUE(std::holds_alternative<int>(first));
  const std::tuple<const char*, const char*, std::string> cases[] = {
      {runtime.c_str(), "wayland-1", taken},
      {runtime.c_str(), "/run/x/wayland-1", taken},
      {runtime.c_str(), "wayland-2", ""},
      {runtime.c_str(), "linked",
       "cannot make the lock file '" + runtime + "/tavrel-saver-linked.lock'"},
      {"", "wayland-1", "XDG_RUNTIME_DIR is not set"},
  };
  for (const auto& [folder, display, says] : cases) {
    const auto held = holdDisplayLock(folder, display);
    EXPECT_EQ(std::holds_alternative<int>(held) ? "" : std::get<std::string>(held), says);
    if (const int* fd = std::get_if<int>(&held)) close(*fd);
  }
  close(std::get<int>(first));
  const auto again = holdDisplayLock(runtime.c_str(), "wayland-1");
  EXPECT_TRUE(std::holds_alternative<int>(again)) << "not let go with the module";
}

// The command runs beside the caller: its end shows on the descriptor and it
// is reaped then; one still running when the next starts is reaped later.
TEST(SaverProcess, ACommandRunsBesideAndIsReaped) {
  Command command;
  ASSERT_TRUE(command.start("sleep 0.2; exit 3"));
  ASSERT_GE(command.fd(), 0);
  EXPECT_FALSE(command.reap());
  pollfd ended{command.fd(), POLLIN, 0};
  EXPECT_EQ(poll(&ended, 1, 5000), 1);
  EXPECT_TRUE(command.reap());
  EXPECT_EQ(command.fd(), -1);
  ASSERT_TRUE(command.start("sleep 0.1"));
  ASSERT_TRUE(command.start("exit 0"));
  usleep(300000);
  ASSERT_TRUE(command.start("exit 0"));  // reaps the sleep
  usleep(100000);
  EXPECT_TRUE(command.reap());
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child left unreaped";
}

}  // namespace
}  // namespace tavrel::saver
