#include "tests/CountingHost.h"

namespace core = adsk::core;

std::vector<const void*>& made() {
  static std::vector<const void*> handlers;
  return handlers;
}

std::vector<const void*>& ended() {
  static std::vector<const void*> handlers;
  return handlers;
}

core::EventHandler::EventHandler() {
  made().push_back(this);
}

core::EventHandler::~EventHandler() {
  ended().push_back(this);
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

core::Application* core::Application::get_raw() {
  return nullptr;
}

const char* core::CommandControl::classType() {
  return "";
}

void core::DeallocateArrayInternal(char* /*text*/) {}
