#include "substitute/api/Event.h"

#include <algorithm>
#include <typeinfo>

namespace core = adsk::core;

// What the host keeps in a handler: where it is registered, each place as often as it is there.
struct core::EventHandlerState {
  using Places = std::vector<substitute::Registrations*>;

  static Places* of(const EventHandler& handler) { return static_cast<Places*>(handler.state_); }

  static void add(EventHandler& handler, substitute::Registrations* place) {
    if (handler.state_ == nullptr) handler.state_ = new Places;
    of(handler)->push_back(place);
  }

  static void remove(EventHandler& handler, substitute::Registrations* place) {
    Places& places = *of(handler);
    places.erase(std::find(places.begin(), places.end(), place));
  }

  static void destroy(EventHandler& handler) {
    if (handler.state_ == nullptr) return;
    for (substitute::Registrations* const place : *of(handler)) {
      auto& handlers = place->handlers_;
      handlers.erase(std::remove(handlers.begin(), handlers.end(), &handler), handlers.end());
    }
    delete of(handler);
    handler.state_ = nullptr;
  }
};

core::EventHandler::EventHandler() = default;
core::EventHandler::~EventHandler() {
  EventHandlerState::destroy(*this);
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
  handlers_.push_back(handler);
  return true;
}

void Registrations::clear() {
  for (core::EventHandler* const handler : handlers_) {
    core::EventHandlerState::remove(*handler, this);
  }
  handlers_.clear();
}

std::vector<std::string> Registrations::handlerNames() const {
  std::vector<std::string> names;
  for (const core::EventHandler* const handler : handlers_) {
    names.push_back(typeName(typeid(*handler)));
  }
  return names;
}

}  // namespace substitute
