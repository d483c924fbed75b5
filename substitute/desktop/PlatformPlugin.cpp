#include "substitute/desktop/PlatformPlugin.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "substitute/driver/Errors.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/Supervisor.h"

namespace substitute {

namespace {

const char* programName = nullptr;
std::string display;
bool isStarted = false;
QtMessageHandler formerHandler = nullptr;

// Qt ends the process when it cannot open a window, and gives its reasons in several messages.
void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  if (!isStarted) {
    if (type != QtFatalMsg) return;
    printError(programName, "no window can be opened on the display " + display +
                                "; substitute-host plays in the terminal");
    tellEnd({exit_status::wrongInput, ""});
    std::_Exit(exit_status::wrongInput);
  }
  for (const char* const dropped :
       {"This plugin does not support ", "WebEngineContext used before ",
        "No suitable graphics backend found", "QStandardPaths: XDG_RUNTIME_DIR not set",
        "Sandboxing disabled by user"}) {
    if (message.startsWith(QLatin1String(dropped))) return;
  }
  formerHandler(type, context, message);
}

}  // namespace

std::unique_ptr<QApplication> startQt(bool onDisplay, const char* program, int& argc, char** argv) {
  if (!onDisplay && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  for (const char* const variable : {"QT_QPA_PLATFORM", "WAYLAND_DISPLAY", "DISPLAY"}) {
    if (display.empty()) display = qgetenv(variable).toStdString();
  }
#ifndef Q_OS_MACOS  // where there is always one
  if (display.empty()) {
    throw std::runtime_error(
        "there is no display to open a window on; substitute-host plays in the terminal");
  }
#endif
  programName = program;
  formerHandler = qInstallMessageHandler(handleMessage);
  auto application = std::make_unique<QApplication>(argc, argv);
  isStarted = true;
  return application;
}

}  // namespace substitute
