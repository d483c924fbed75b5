// Messages of the learning page: each names a target that the system opens in its default
// application. The page is trusted; what it sends reaches the shell unchanged.
#pragma once

#include <Core/CoreAll.h>

// Handles the messages of a palette that OpenPalette created.
class RovaHTMLEventHandler : public adsk::core::HTMLEventHandler {
 public:
  ~RovaHTMLEventHandler() override;

  // Runs "open " and the message without its first and last character, the page's quotes, through
  // the shell, and waits for its end. An empty message throws std::out_of_range. `eventArgs` is not
  // empty.
  void notify(const adsk::core::Ptr<adsk::core::HTMLEventArgs>& eventArgs) override;
};

// Handles the messages of a palette that was created when the host went online, in the same way. A
// type of its own, so that the handler tells which of the two created the palette.
class CadFirst3sHTMLEventHandler : public adsk::core::HTMLEventHandler {
 public:
  ~CadFirst3sHTMLEventHandler() override;
  void notify(const adsk::core::Ptr<adsk::core::HTMLEventArgs>& eventArgs) override;
};
