// tavrel: the window, its start screen, the first shape and the main loop.
#include <QApplication>
#include <QDir>
#include <QIcon>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "cli/program.h"
#include "history/history.h"
#include "window/session.h"

namespace {

constexpr const char* kHelp =
    "Usage: tavrel [OPTION]...\n"
    "Makes random mirror-symmetric pictures in a window of its own, and shows them\n"
    "bouncing on black as a screen-saver mode. It reads its backdrops\n"
    "(example2.bmp to example7.bmp) from share/tavrel beside its own folder when\n"
    "installed, else from the folder it starts in, its settings from\n"
    "$XDG_CONFIG_HOME/tavrel/tavrel.ini, and saves pictures to Pictures/Tavrel.\n"
    "Every picture shown is kept in the history that tavrel-render --history lists.\n"
    "\n"
    "  --no-history              keep the pictures shown out of the history\n"
    "  --help                    show this text and exit (also -h)\n"
    "  --version                 show the version and exit\n"
    "\n"
    "Options with one dash (-platform NAME, -display DISPLAY, ...) go to Qt.\n"
    "An unknown option gives a one-line message and exit status 2.\n";

int runWindow(int argc, char** argv) {
  bool noHistory = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "--no-history") {
      noHistory = true;
      continue;
    }
    if (arg == "--help" || arg == "-h" || arg == "-help") {
      std::fputs(kHelp, stdout);
      return 0;
    }
    if (arg == "--version") {
      std::fputs(tavrel::cli::versionText("tavrel").c_str(), stdout);
      return 0;
    }
    if (arg.starts_with("--")) {
      std::fprintf(stderr, "tavrel: unknown option %s (see --help)\n",
                   tavrel::quotedText(arg).c_str());
      return 2;
    }
  }
  const bool platformChosen = std::getenv("QT_QPA_PLATFORM") != nullptr;
  if (!platformChosen && !std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) {
    std::fprintf(stderr, "tavrel: %s\n", tavrel::cli::displayProblem(nullptr).c_str());
    return 1;
  }
  auto app = tavrel::Session::makeApplication(argc, argv);
  // Names the desktop entry, so that a Wayland desktop shows the window under
  // its icon and name.
  QGuiApplication::setDesktopFileName("io.github.tavrel.Tavrel");
  // And an X window manager shows the window under its own icon.
  QIcon icon;
  for (const char* size : {"16", "22", "24", "32", "48", "64", "128", "256"})
    icon.addFile(QString(":/icons/%1x%1/tavrel.png").arg(size));
  QGuiApplication::setWindowIcon(icon);
  int status = 0;
  {
    tavrel::Session session;
    // The settings file's history key counts as well, through the settings.
    if (const auto folder = tavrel::historyFolder(); !noHistory && !folder.empty())
      session.program().keepHistory(tavrel::History(folder, "tavrel"));
    // Installed, the backdrops lie beside the program's own folder, wherever
    // that was put; in a build tree they are read from where it starts.
    const QDir installed(QCoreApplication::applicationDirPath() + "/" TAVREL_BACKDROPS_FROM_BIN);
    if (!installed.entryList({"example*.bmp"}, QDir::Files).isEmpty())
      session.form().setBackdropFolder(installed.absolutePath());
    session.show();
    status = app->exec();
  }
#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
  // Qt 6.4's Wayland client can deadlock stopping its event threads while
  // the application is torn down, leaving a windowless process behind. Our
  // own objects are gone by now; the compositor frees the rest when the
  // process ends.
  if (QGuiApplication::platformName() == "wayland") (void)app.release();
#endif
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  return tavrel::cli::guardedMain("tavrel", [&] { return runWindow(argc, argv); });
}
