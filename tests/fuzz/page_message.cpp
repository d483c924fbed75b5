// Any bytes as the page's message: the command that reaches the shell, or the exception. This
// program's own `system`, which the library finds before the C library's, stands in for the shell.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "palette/PageMessages.h"
#include "substitute/api/HostObjects.h"

extern RovaHTMLEventHandler _onHTMLEvent;
extern CadFirst3sHTMLEventHandler _onHTMLEventFirst3;

namespace {

using Commands = std::vector<std::string>;
Commands commands;

// What the handler runs; nothing when it throws that the text is too short.
Commands handle(adsk::core::HTMLEventHandler& handler, const std::string& message) {
  static substitute::CallInterceptor interceptor;
  commands.clear();
  const auto arguments = substitute::makeHostObject<substitute::HTMLEventArgsObject>(interceptor);
  arguments->data = message;
  arguments->addRefForAddIn();
  const adsk::core::Ptr<adsk::core::HTMLEventArgs> handle(arguments.get(), true);
  try {
    handler.notify(handle);
  } catch (const std::out_of_range&) {
    commands.emplace_back("too short");
  }
  return commands;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int system(const char* command) {
  commands.emplace_back(command);
  return 0;
}

// The end of the process makes libFuzzer keep the input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  // The host's texts end at their first zero byte; their first and last byte are quotes.
  std::string text = bytes.c_str();
  Commands expected = {"too short"};
  if (!text.empty()) {
    text.erase(0, 1);
    if (!text.empty()) text.pop_back();
    expected = {"open " + text};
  }
  if (handle(_onHTMLEvent, bytes) != expected) std::abort();
  if (handle(_onHTMLEventFirst3, bytes) != expected) std::abort();
  const substitute::ResourceCounts& held = substitute::resourceCounts();
  if (held.strings != 0 || held.invalidDeallocations != 0 || held.references != 0) std::abort();
  return 0;
}
