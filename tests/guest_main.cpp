// The main of the test suites: each suite is a guest, with settings, state
// and data folders of its own, gone when it ends, so nothing a test runs
// reads or writes those of whoever runs it.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/temp_dir.h"

int main(int argc, char** argv) {
  const tavrel::testing_support::TempDir home;
  for (const char* folder : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME"})
    ::setenv(folder, (home / folder).c_str(), 1);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
