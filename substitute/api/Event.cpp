#include "substitute/api/Event.h"

#include <algorithm>
#include <typeinfo>

namespace core = adsk::core;

core::EventHandler::EventHandler() = default;
core::EventHandler::~EventHandler() {
  substitute::Registrations::remove(*this);
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

namespace {

// Never destroyed: a library may end after the host's.
std::list<Registrations*>& allEvents() {
  static auto* const all = new std::list<Registrations*>;
  return *all;
}

}  // namespace

Registrations::Registrations() : place_(allEvents().insert(allEvents().end(), this)) {}

Registrations::~Registrations() {
  clear();
  allEvents().erase(place_);
}

bool Registrations::add(core::EventHandler* handler) {
  if (handler != nullptr) handlers_->push_back(handler);
  return handler != nullptr;
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
  const Handlers atFirst(present->begin(), present->end());
  for (core::EventHandler* const handler : atFirst) {
    const bool isThere = std::find(present->begin(), present->end(), handler) != present->end();
    if (isThere) notify(*handler);
  }
}

std::vector<core::EventHandler*> Registrations::registered() {
  Handlers all;
  for (const Registrations* const event : allEvents()) {
    all.insert(all.end(), event->handlers_->begin(), event->handlers_->end());
  }
  return all;
}

void Registrations::remove(core::EventHandler& handler) {
  for (const Registrations* const event : allEvents()) {
    Handlers& handlers = *event->handlers_;
    handlers.erase(std::remove(handlers.begin(), handlers.end(), &handler), handlers.end());
  }
}

}  // namespace substitute
