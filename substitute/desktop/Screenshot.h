// Screenshots of the window.
#pragma once

#include <QPixmap>
#include <string>

class QMainWindow;

namespace substitute {

class MainWindow;

// Throws UsageError when no picture can be saved as `file`. An empty name means no picture.
void checkScreenshot(const std::string& file);

// The window and the floating palettes, each at its position on the screen.
QPixmap pictureOf(QMainWindow& window);

// Returns at once. When the pages of `window` have loaded, saves a picture and quits the program.
// The exit status is not 0 when a page was still loading after 20 seconds or the file could not be
// written; standard error then has a sentence that begins with `program`.
void takeScreenshot(MainWindow& window, const std::string& file, const std::string& program);

}  // namespace substitute
