#include "substitute/api/Event.h"

#include <algorithm>
#include <typeinfo>

namespace core = adsk::core;

// What the host keeps in a handler: where it is registered, each place as often as it is there.
struct core::EventHandlerState {
  using Places = std::vector<substitute::Registrations*>;

  // The handlers that are registered somewhere.
  static std::vector<EventHandler*>& registered() {
    static auto* const all = new std::vector<EventHandler*>;  // a library may end after the host's
    return *all;
  }

  static Places* of(const EventHandler& handler) { return static_cast<Places*>(handler.state_); }

  static void add(EventHandler& handler, substitute::Registrations* place) {
    if (handler.state_ == nullptr) {
      handler.state_ = new Places;
      registered().push_back(&handler);
    }
    of(handler)->push_back(place);
  }

  static void remove(EventHandler& handler, substitute::Registrations* place) {
    Places& places = *of(handler);
    places.erase(std::find(places.begin(), places.end(), place));
    if (places.empty()) forget(handler);
  }

  static void removeAll(EventHandler& handler) {
    if (handler.state_ == nullptr) return;
    for (substitute::Registrations* const place : *of(handler)) {
      auto& handlers = *place->handlers_;
      handlers.erase(std::remove(handlers.begin(), handlers.end(), &handler), handlers.end());
    }
    forget(handler);
  }

  static void forget(EventHandler& handler) {
    delete of(handler);
    handler.state_ = nullptr;
    auto& all = registered();
    all.erase(std::find(all.begin(), all.end(), &handler));
  }
};

core::EventHandler::EventHandler() = default;
core::EventHandler::~EventHandler() {
  EventHandlerState::removeAll(*this);
}
void core::EventHandler::placeholderEventHandler0() {}
void core::EventHandler::placeholderEventHandler1() {}
void core::EventHandler::placeholderEventHandler2() {}
void core::EventHandler::placeholderEventHandler3() {}
void core::EventHandler::placeholderEventHandler4() {}
void core::EventHandler::placeholderEventHandler5() {}
void core::EventHandler::placeholderEventHandler6() {}
void core::EventHandler::placeholderEventHandler7() {}
void core::EventHandler::placeholderEventHandler8() {}
void core::EventHandler::placeholderEventHandler9() {}
void core::EventHandler::placeholderEventHandler10() {}
void core::EventHandler::placeholderEventHandler11() {}
void core::EventHandler::placeholderEventHandler12() {}
void core::EventHandler::placeholderEventHandler13() {}
void core::EventHandler::placeholderEventHandler14() {}
void core::EventHandler::placeholderEventHandler15() {}

namespace substitute {

bool Registrations::add(core::EventHandler* handler) {
  if (handler == nullptr) return false;
  core::EventHandlerState::add(*handler, this);
  handlers_->push_back(handler);
  return true;
}

void Registrations::clear() {
  for (core::EventHandler* const handler : *handlers_) {
    core::EventHandlerState::remove(*handler, this);
  }
  handlers_->clear();
}

std::vector<std::string> Registrations::handlerNames() const {
  std::vector<std::string> names;
  for (const core::EventHandler* const handler : *handlers_) {
    names.push_back(typeName(typeid(*handler)));
  }
  return names;
}

void Registrations::forEach(const std::function<void(core::EventHandler&)>& notify) const {
  const std::shared_ptr<const Handlers> present = handlers_;  // the event itself may end
  const Handlers atFirst = *present;
  for (core::EventHandler* const handler : atFirst) {
    const bool isThere = std::find(present->begin(), present->end(), handler) != present->end();
    if (isThere) notify(*handler);
  }
}

std::vector<core::EventHandler*> Registrations::registered() {
  return core::EventHandlerState::registered();
}

void Registrations::remove(core::EventHandler& handler) {
  core::EventHandlerState::removeAll(handler);
}

}  // namespace substitute
