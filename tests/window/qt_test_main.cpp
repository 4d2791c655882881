// The main of the window tests: a QApplication, on the off-screen platform
// unless the environment chose another, and settings, state and data folders
// of its own so that a user's saved settings never reach a test, nor a test
// the user's history.
#include <gtest/gtest.h>

#include <QApplication>
#include <QTemporaryDir>

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QTemporaryDir config, state, data;
  qputenv("XDG_CONFIG_HOME", config.path().toUtf8());
  qputenv("XDG_STATE_HOME", state.path().toUtf8());
  qputenv("XDG_DATA_HOME", data.path().toUtf8());
  QApplication app(argc, argv);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
