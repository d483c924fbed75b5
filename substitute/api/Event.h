// The host's events: they register the add-in's handlers and notify them.
#pragma once

#include <Core/CoreAll.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "substitute/api/Export.h"
#include "substitute/api/HostObject.h"

namespace substitute {

// The handlers that are registered with one event. A handler that is destroyed is removed from all
// of them.
class SUBSTITUTE_API Registrations {
 public:
  Registrations();
  Registrations(const Registrations&) = delete;
  Registrations& operator=(const Registrations&) = delete;
  ~Registrations();

  // Registers `handler`, once more if it is registered already. False for null.
  bool add(core::EventHandler* handler);
  void clear() { handlers_->clear(); }

  const std::vector<core::EventHandler*>& handlers() const { return *handlers_; }
  std::vector<std::string> handlerNames() const;

  // Calls `notify` with each handler. A handler may remove others, itself and the event: what is
  // removed meanwhile is not notified.
  void forEach(const std::function<void(core::EventHandler&)>& notify) const;

  // All handlers that are registered with any event. One that is registered twice is there twice.
  static std::vector<core::EventHandler*> registered();

  // Removes `handler` from every event.
  static void remove(core::EventHandler& handler);

 private:
  using Handlers = std::vector<core::EventHandler*>;
  std::shared_ptr<Handlers> handlers_ = std::make_shared<Handlers>();
  std::list<Registrations*>::iterator place_;  // among those of all events
};

// Calls a handler by `call`, and lets no exception out.
using Notifier =
    std::function<void(core::EventHandler& handler, const std::function<void()>& call)>;

// An event of the host's class `Event`; handlers are registered by the operation `add`.
template <class Event, class Handler, class Arguments, Operation add>
class EventObject final : public HostObject<Event> {
 public:
  using HostObject<Event>::HostObject;

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
    registrations.forEach([&](core::EventHandler& handler) {
      notify(handler, [&] { static_cast<Handler&>(handler).notify(handle); });
    });
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
