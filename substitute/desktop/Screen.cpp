#include "substitute/desktop/Screen.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QGuiApplication>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace substitute {

namespace {

// Whether Qt finds a screen. It ends the process where it does not, so a child of this one tries.
bool screenOpens(int argc, char** argv) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    if (std::freopen("/dev/null", "w", stderr) == nullptr) _exit(EXIT_FAILURE);
    const QGuiApplication probe(argc, argv);
    _exit(EXIT_SUCCESS);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

void findScreen(bool forPictureOnly, int argc, char** argv) {
#ifdef Q_OS_MACOS
  return;  // there is always one
#endif
  std::string named;
  for (const char* const variable : {"QT_QPA_PLATFORM", "WAYLAND_DISPLAY", "DISPLAY"}) {
    if (named.empty()) named = qgetenv(variable).toStdString();
  }
  if (!named.empty() && screenOpens(argc, argv)) return;
  if (forPictureOnly && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    return;
  }
  throw std::runtime_error((named.empty() ? "there is no display to open a window on"
                                          : "no window can be opened on the display " + named) +
                           "; substitute-host plays in the terminal");
}

void dropWordsAboutTheScreen() {
  static QtMessageHandler others = nullptr;
  others = qInstallMessageHandler(
      [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
        for (const char* const known :
             {"This plugin does not support ", "WebEngineContext used before ",
              "No suitable graphics backend found", "QStandardPaths: XDG_RUNTIME_DIR not set",
              "Sandboxing disabled by user"}) {
          if (text.startsWith(QLatin1String(known))) return;
        }
        others(type, context, text);
      });
}

}  // namespace substitute
