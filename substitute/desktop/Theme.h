// The light and the dark theme of the window, and its icons that are drawn by code.
#pragma once

#include <QColor>
#include <QIcon>

namespace substitute {

enum class Theme { light, dark };

// The theme of the desktop. Call it with a QApplication, before apply().
Theme systemTheme();

// Applies the theme to all windows of the program.
void apply(Theme theme);

// The icons of the window's own buttons.
enum class Drawing { cross, window, help, more };

// The icon in `colour`. It is drawn as vectors, for any size.
QIcon drawnIcon(Drawing drawing, const QColor& colour);

}  // namespace substitute
