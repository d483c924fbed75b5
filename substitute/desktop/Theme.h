// The light and the dark theme of the window.
#pragma once

namespace substitute {

enum class Theme { light, dark };

// The theme that was applied last; the desktop's before that. Call it with a QApplication.
Theme currentTheme();

// Applies the theme to all windows of the program.
void apply(Theme theme);

}  // namespace substitute
