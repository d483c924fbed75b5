// The light and the dark theme of the window.
#pragma once

namespace substitute {

enum class Theme { light, dark };

// The theme of the desktop. Call it with a QApplication, before apply().
Theme systemTheme();

// Applies the theme to all windows of the program.
void apply(Theme theme);

}  // namespace substitute
