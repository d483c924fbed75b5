// The host's events: they register the add-in's handlers and notify them.
#pragma once

#include <Core/CoreAll.h>

#include <functional>
#include <string>
#include <vector>

#include "substitute/api/Export.h"
#include "substitute/api/HostObject.h"

namespace substitute {

// The handlers that are registered with one event. A handler that is destroyed is removed from all
// of them.
class SUBSTITUTE_API Registrations {
 public:
  Registrations() = default;
  Registrations(const Registrations&) = delete;
  Registrations& operator=(const Registrations&) = delete;
  ~Registrations() { clear(); }

  // Registers `handler`, once more if it is registered already. False for null.
  bool add(core::EventHandler* handler);
  void clear();

  const std::vector<core::EventHandler*>& handlers() const { return handlers_; }
  std::vector<std::string> handlerNames() const;

 private:
  friend struct core::EventHandlerState;
  std::vector<core::EventHandler*> handlers_;
};

// Calls a handler by `call`, and lets no exception out.
using Notifier =
    std::function<void(core::EventHandler& handler, const std::function<void()>& call)>;

// An event of the host's class `Event`; handlers are registered by the operation `add`.
template <class Event, class Handler, class Arguments, Operation add>
class EventObject final : public HostObject<Event> {
 public:
  explicit EventObject(CallInterceptor& interceptor)
      : HostObject<Event>(interceptor, classOf(add)) {}

  bool add_raw(Handler* handler) override {
    return this->call(
        add, [&] { return registrations.add(handler); },
        static_cast<const core::EventHandler*>(handler));
  }

  // Notifies every handler through `notify`, with `arguments`; with an empty handle when that is
  // null.
  void raise(const HostObject<Arguments>* arguments, const Notifier& notify) {
    if (arguments != nullptr) arguments->addRefForAddIn();
    const core::Ptr<Arguments> handle(arguments, true);
    // A copy: a handler may delete part of the host, this event included.
    const auto handlers = registrations.handlers();
    for (core::EventHandler* const handler : handlers) {
      notify(*handler, [&] { static_cast<Handler*>(handler)->notify(handle); });
    }
  }

  Registrations registrations;
};

using ApplicationEventObject =
    EventObject<core::ApplicationEvent, core::ApplicationEventHandler, core::ApplicationEventArgs,
                Operation::ApplicationEvent_add>;
using CommandCreatedEventObject =
    EventObject<core::CommandCreatedEvent, core::CommandCreatedEventHandler,
                core::CommandCreatedEventArgs, Operation::CommandCreatedEvent_add>;
using CommandEventObject = EventObject<core::CommandEvent, core::CommandEventHandler,
                                       core::CommandEventArgs, Operation::CommandEvent_add>;
using HTMLEventObject = EventObject<core::HTMLEvent, core::HTMLEventHandler, core::HTMLEventArgs,
                                    Operation::HTMLEvent_add>;

}  // namespace substitute
