// Pictures of the window.
#pragma once

#include <QPixmap>
#include <string>

class QMainWindow;

namespace substitute {

class MainWindow;

// Throws UsageError when no picture can be saved under that name; an empty one asks for none.
void checkScreenshot(const std::string& file);

// The window with the palettes that float, each where it stands on the screen.
QPixmap pictureOf(QMainWindow& window);

// Waits for the pages of `window`, then saves a picture and ends the program, with a status other
// than 0 when a page was still loading or the file could not be written. `program` begins the
// sentence that says so.
void takeScreenshot(MainWindow& window, const std::string& file, const std::string& program);

}  // namespace substitute
