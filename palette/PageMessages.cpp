#include "palette/PageMessages.h"

#include <cstdlib>
#include <string>

using namespace adsk::core;

namespace {

void openTarget(const Ptr<HTMLEventArgs>& eventArgs) {
  const std::string data = eventArgs->data();
  // With one character the length wraps: the target is then empty, as with two.
  const std::string command = "open " + data.substr(1, data.length() - 2);
  [[maybe_unused]] const int status = std::system(command.c_str());
}

}  // namespace

RovaHTMLEventHandler::~RovaHTMLEventHandler() = default;

void RovaHTMLEventHandler::notify(const Ptr<HTMLEventArgs>& eventArgs) {
  openTarget(eventArgs);
}

CadFirst3sHTMLEventHandler::~CadFirst3sHTMLEventHandler() = default;

void CadFirst3sHTMLEventHandler::notify(const Ptr<HTMLEventArgs>& eventArgs) {
  openTarget(eventArgs);
}
