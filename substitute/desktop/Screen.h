// What the window is drawn on.
#pragma once

namespace substitute {

// Finds something to draw on; a picture needs no screen. To be called before there is a
// QApplication, with the arguments for it. Throws std::runtime_error when there is nothing.
void findScreen(bool forPictureOnly, int argc, char** argv);

// Without a screen, what Qt's platform plugin and the web engine lack is no news to anybody: drops
// these messages and leaves all others.
void dropWordsAboutTheScreen();

}  // namespace substitute
