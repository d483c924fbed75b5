#include "substitute/desktop/PlatformPlugin.h"

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

// Whether Qt can open a window. Where it cannot, it ends the process: so a child process tries.
bool displayOpens(int argc, char** argv) {
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

void choosePlatformPlugin(bool forPictureOnly, int argc, char** argv) {
#ifdef Q_OS_MACOS
  return;  // there is always a display
#endif
  std::string named;
  for (const char* const variable : {"QT_QPA_PLATFORM", "WAYLAND_DISPLAY", "DISPLAY"}) {
    if (named.empty()) named = qgetenv(variable).toStdString();
  }
  if (!named.empty() && displayOpens(argc, argv)) return;
  if (forPictureOnly && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    return;
  }
  throw std::runtime_error((named.empty() ? "there is no display to open a window on"
                                          : "no window can be opened on the display " + named) +
                           "; substitute-host plays in the terminal");
}

void filterPlatformMessages() {
  static QtMessageHandler previous = nullptr;
  previous = qInstallMessageHandler(
      [](QtMsgType type, const QMessageLogContext& context, const QString& message) {
        for (const char* const dropped :
             {"This plugin does not support ", "WebEngineContext used before ",
              "No suitable graphics backend found", "QStandardPaths: XDG_RUNTIME_DIR not set",
              "Sandboxing disabled by user"}) {
          if (message.startsWith(QLatin1String(dropped))) return;
        }
        previous(type, context, message);
      });
}

}  // namespace substitute
