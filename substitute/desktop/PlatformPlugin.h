// Qt's platform plugin: which one the program uses, and which of its messages are shown.
#pragma once

namespace substitute {

// Chooses the plugin: the display's where a window can be opened on it, else "offscreen" when
// `forPictureOnly`. Call it before there is a QApplication, with the arguments for it. Throws
// std::runtime_error when no plugin can be used.
void choosePlatformPlugin(bool forPictureOnly, int argc, char** argv);

// Drops the messages of the plugin "offscreen" and of the web engine about what a display would
// offer. All other messages are shown.
void filterPlatformMessages();

}  // namespace substitute
