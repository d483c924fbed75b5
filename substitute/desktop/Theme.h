// How the window looks: its colours by day and by night, and the few drawings of its own.
#pragma once

#include <QColor>
#include <QIcon>

namespace substitute {

enum class Theme { light, dark };

// The theme that the desktop asks for. Needs a QApplication that has no theme yet.
Theme systemTheme();

// Gives all windows of the program that look.
void apply(Theme theme);

// The drawings that the window's own buttons bear.
enum class Drawing { cross, window, help, more };

// `drawing` in `colour`, sharp at any size.
QIcon drawnIcon(Drawing drawing, const QColor& colour);

}  // namespace substitute
