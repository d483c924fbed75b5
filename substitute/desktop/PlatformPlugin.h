// Qt's platform plugin, which opens the windows.
#pragma once

#include <QApplication>
#include <memory>

namespace substitute {

// Starts Qt. Unless `onDisplay`, it draws where nobody sees it, on the platform "offscreen", if
// QT_QPA_PLATFORM names no other. Messages of Qt about what a display would offer are dropped. When
// no window can be opened, throws std::runtime_error, or prints a sentence that begins with
// `program` and ends the process with the status for wrong input.
std::unique_ptr<QApplication> startQt(bool onDisplay, const char* program, int& argc, char** argv);

}  // namespace substitute
