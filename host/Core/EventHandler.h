// The root of everything that the host calls back.
#pragma once

#include "Memory.h"

namespace adsk::core {

struct EventHandlerState;  // the host's own

// Base of all event handlers. An event takes the address of a handler and keeps it, so the handler
// neither moves nor ends before the host has stopped calling it. The constructor and destructor are
// the host's own code: the destructor removes the handler from every event.
class ADSK_HOST_API EventHandler {
 public:
  EventHandler();
  virtual ~EventHandler();
  EventHandler(const EventHandler&) = delete;
  EventHandler& operator=(const EventHandler&) = delete;

  // Reserved by the host, in this order. They do nothing, and nobody overrides them.
  virtual void placeholderEventHandler0();
  virtual void placeholderEventHandler1();
  virtual void placeholderEventHandler2();
  virtual void placeholderEventHandler3();
  virtual void placeholderEventHandler4();
  virtual void placeholderEventHandler5();
  virtual void placeholderEventHandler6();
  virtual void placeholderEventHandler7();
  virtual void placeholderEventHandler8();
  virtual void placeholderEventHandler9();
  virtual void placeholderEventHandler10();
  virtual void placeholderEventHandler11();
  virtual void placeholderEventHandler12();
  virtual void placeholderEventHandler13();
  virtual void placeholderEventHandler14();
  virtual void placeholderEventHandler15();

 private:
  friend EventHandlerState;
  void* state_ = nullptr;  // only the host touches it
};

}  // namespace adsk::core
