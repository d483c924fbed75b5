// Any bytes as the page's message: the command that reaches the shell, or the exception. This
// program's own `system`, which the library finds before the C library's, stands in for the shell.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "palette/PageMessages.h"
#include "substitute/api/HostObjects.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/model/Model.h"

extern RovaHTMLEventHandler _onHTMLEvent;
extern CadFirst3sHTMLEventHandler _onHTMLEventFirst3;

namespace {

std::vector<std::string> commands;

// What the handler runs, or nothing when it threw that the text is too short.
std::optional<std::string> handle(adsk::core::HTMLEventHandler& handler,
                                  substitute::CallInterceptor& interceptor,
                                  const std::optional<std::string>& message) {
  commands.clear();
  const auto arguments = substitute::makeHostObject<substitute::HTMLEventArgsObject>(interceptor);
  arguments->data = message;
  arguments->addRefForAddIn();
  const adsk::core::Ptr<adsk::core::HTMLEventArgs> handle(arguments.get(), true);
  try {
    handler.notify(handle);
  } catch (const std::out_of_range&) {
    require(commands.empty(), "nothing is run before an exception");
    return {};
  }
  require(commands.size() == 1, "one command a message");
  return commands.front();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int system(const char* command) {
  commands.emplace_back(command);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static FuzzHost host;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  // The host's texts end at their first zero byte.
  const std::string text = bytes.c_str();
  const std::optional<std::string> expected = model::shellCommand(text);
  require(handle(_onHTMLEvent, host.host().interceptor(), bytes) == expected, "the command");
  require(handle(_onHTMLEventFirst3, host.host().interceptor(), bytes) == expected,
          "the command of the other handler");
  require(substitute::resourceCounts().strings == 0, "every text is freed");
  require(substitute::resourceCounts().invalidDeallocations == 0, "no text is freed twice");
  require(substitute::resourceCounts().references == 0, "every reference is dropped");
  return 0;
}
