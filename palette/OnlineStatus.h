// What happens when the host goes online or offline.
#pragma once

#include <Core/CoreAll.h>

// Brings the learning palette up whenever the host comes online during the first starts.
class OnlineStatusChangedHandler : public adsk::core::ApplicationEventHandler {
 public:
  ~OnlineStatusChangedHandler() override;

  // Shows the palette, or creates it with _onHTMLEventFirst3 as its message handler, when the host
  // reports that it is online and countOpenPalette is 0 to lastAutoOpenCount. An empty `eventArgs`
  // does nothing. `app` and `ui` are used untested: they are there from run to stop.
  void notify(const adsk::core::Ptr<adsk::core::ApplicationEventArgs>& eventArgs) override;
};
