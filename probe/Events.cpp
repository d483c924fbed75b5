#include "probe/Events.h"

#include <unistd.h>

#include "probe/Asking.h"

using namespace adsk::core;

namespace probe {

namespace {

// What the handlers have seen since the beginning.
struct Seen {
  std::string throwFile;
  bool listening = false;
  int calls = 0;  // of any handler
  int presses = 0;
  std::string firstPress;
  int messages = 0;
  int messagesToDeleted = 0;
  std::string statuses;  // "1" for offline
  bool thrown = false;
  Ptr<CommandCreatedEventArgs> keptArguments;
};
Seen seen;

// A handler that does what a function does, while the probe listens.
template <class Base, class Arguments>
class Handler final : public Base {
 public:
  using Function = void (*)(const Ptr<Arguments>&);

  explicit Handler(Function function) : function_(function) {}

  void notify(const Ptr<Arguments>& arguments) override {
    if (!seen.listening) return;
    ++seen.calls;
    function_(arguments);
  }

 private:
  Function function_;
};

using MessageHandler = Handler<HTMLEventHandler, HTMLEventArgs>;
using CreatedHandler = Handler<CommandCreatedEventHandler, CommandCreatedEventArgs>;
using ExecuteHandler = Handler<CommandEventHandler, CommandEventArgs>;
using StatusHandler = Handler<ApplicationEventHandler, ApplicationEventArgs>;

// Each step of the first press, once.
void note(const char* step) {
  std::string& steps = seen.firstPress;
  if (seen.presses > 1 || steps.find(step) != std::string::npos) return;
  if (!steps.empty()) steps += ", ";
  steps += step;
}

// The answers that need all events.
void sumUp() {
  if (seen.presses > 0) {
    ask("click.order", "In which order are the handlers of a press called?",
        [] { return seen.firstPress; });
    ask("references.kept-arguments", "Are arguments valid that a handler has kept a handle on?",
        [] { return need(seen.keptArguments)->isValid(); });
    seen.keptArguments = nullptr;
  }
  if (!seen.statuses.empty()) {
    ask("application-event.registered-twice",
        "How often is a handler called that was registered twice?", [] {
          const std::size_t other = seen.statuses.find(seen.statuses.front() == '0' ? '1' : '0');
          return static_cast<int>(other == std::string::npos ? seen.statuses.size() : other);
        });
  }
  if (seen.messages > 0) {
    ask("html-event.handler-of-deleted",
        "Is a deleted palette's handler called for the messages of its successor?",
        [] { return seen.messagesToDeleted > 0; });
  }
}

void throwIfTold() {
  if (seen.presses < 2 || seen.thrown || access(seen.throwFile.c_str(), F_OK) != 0) return;
  sumUp();
  seen.thrown = true;
  ask("exception.thrown", "Does a handler let an exception out?", [] { return true; });
  // What an empty message of a page makes the add-in throw.
  std::string().substr(1);
}

void onFirstExecuted(const Ptr<CommandEventArgs>& /*arguments*/) {
  note("first execute handler");
  throwIfTold();
}

void onSecondExecuted(const Ptr<CommandEventArgs>& /*arguments*/) {
  note("second execute handler");
  if (!seen.thrown) return;
  ask("exception.next-handler", "Is the next handler called after one that has thrown?",
      [] { return true; });
}

ExecuteHandler firstExecuted(onFirstExecuted);
ExecuteHandler secondExecuted(onSecondExecuted);

// Registers a handler and asks whether it is taken, and whether it is called meanwhile.
template <class Event, class EventHandler>
void askToAdd(const char* takenId, const char* takenQuestion, const char* raisedId,
              const char* raisedQuestion, const Ptr<Event>& event, EventHandler& handler) {
  const int before = seen.calls;
  ask(takenId, takenQuestion, [&] { return need(event)->add(&handler); });
  ask(raisedId, raisedQuestion, [&] {
    need(event);
    return seen.calls > before;
  });
}

void onFirstCreated(const Ptr<CommandCreatedEventArgs>& arguments) {
  ++seen.presses;
  note("first created handler");
  if (seen.presses == 1) seen.keptArguments = arguments;
  Ptr<Command> command;
  ask("click.command", "Do the arguments give the command?", [&] {
    command = need(arguments)->command();
    return given(command);
  });
  ask("click.inputs", "Has a new command its inputs?",
      [&] { return given(need(command)->commandInputs()); });
  Ptr<CommandEvent> execute;
  ask("click.execute", "Has a new command its execute event?", [&] {
    execute = need(command)->execute();
    return given(execute);
  });
  askToAdd("command-event.add", "Does the execute event take a handler?",
           "command-event.raised-by-add", "Is the execute event raised while a handler is added?",
           execute, firstExecuted);
  attempt([&] { need(execute)->add(&secondExecuted); });
}

void onSecondCreated(const Ptr<CommandCreatedEventArgs>& /*arguments*/) {
  note("second created handler");
}

void onStatus(const Ptr<ApplicationEventArgs>& arguments) {
  ask("status.arguments", "Does the report of the online status have arguments?",
      [&] { return given(arguments); });
  bool offline = false;
  attempt([&] { offline = need(arguments)->isOffLine(); });
  ask(offline ? "status.alike-offline" : "status.alike-online",
      offline ? "Does the application, too, say offline when that is reported?"
              : "Does the application, too, say online when that is reported?",
      [&] { return application()->isOffLine() == need(arguments)->isOffLine(); });
  seen.statuses += offline ? '1' : '0';
}

void onMessage(const Ptr<HTMLEventArgs>& arguments) {
  ++seen.messages;
  std::string data;
  ask("html-event.arguments", "Does a message have arguments?", [&] { return given(arguments); });
  attempt([&] { data = need(arguments)->data(); });
  // Nothing but what the page of the probe sends, and what a host may have put around it.
  const auto tell = [&] { return data.size() < 20 ? data : "a longer text"; };
  if (data.find("quoted") != std::string::npos) {
    ask("message.quoted", "As what does \"quoted\" arrive, sent with its quotes?", tell);
  } else if (data.find("bare") != std::string::npos) {
    ask("message.bare", "As what does bare arrive, sent without quotes?", tell);
  } else if (data.size() <= 2) {
    ask("message.empty", "As what does an empty message arrive?", tell);
  }
}

void onMessageToDeleted(const Ptr<HTMLEventArgs>& /*arguments*/) {
  ++seen.messagesToDeleted;
}

CreatedHandler firstCreated(onFirstCreated);
CreatedHandler secondCreated(onSecondCreated);
MessageHandler message(onMessage);
MessageHandler messageToDeleted(onMessageToDeleted);
StatusHandler status(onStatus);

void showPalette(const std::string& pageAddress) {
  attempt([&] {
    const Ptr<Palette> deleted = addPalette(pageAddress);
    need(need(deleted)->incomingFromHTML())->add(&messageToDeleted);
    deleted->deleteMe();
  });
  Ptr<Palette> palette;
  ask("palettes.add-after-delete", "What does adding a palette with the id of a deleted one give?",
      [&] {
        palette = addPalette(pageAddress);
        return given(palette);
      });
  Ptr<HTMLEvent> event;
  attempt([&] { event = need(palette)->incomingFromHTML(); });
  askToAdd("html-event.add", "Does a palette's event take a handler?", "html-event.raised-by-add",
           "Is a palette's event raised while a handler is added?", event, message);
  attempt([&] {
    need(palette)->dockingState(static_cast<PaletteDockingStates>(4));
    palette->isVisible(true);
  });
}

bool showButton() {
  bool taken = false;
  attempt([&] {
    const Ptr<CommandDefinition> definition = addDefinition(probeId, "");
    need(addControl(definition));
    const Ptr<CommandCreatedEvent> event = definition->commandCreated();
    askToAdd("command-created-event.add", "Does a definition's event take a handler?",
             "command-created-event.raised-by-add",
             "Is a definition's event raised while a handler is added?", event, firstCreated);
    taken = need(event)->add(&secondCreated);
  });
  return taken;
}

void listenToStatus() {
  Ptr<ApplicationEvent> event;
  ask("application-event.given", "Is there an online-status event?", [&] {
    event = application()->onlineStatusChanged();
    return given(event);
  });
  askToAdd("application-event.add", "Does the online-status event take a handler?",
           "application-event.raised-by-add",
           "Is the online-status event raised while a handler is added?", event, status);
  ask("application-event.add-again", "Does it take the same handler a second time?",
      [&] { return need(event)->add(&status); });
}

}  // namespace

bool askAboutEvents(const std::string& pageAddress, const std::string& throwFile) {
  seen = Seen();
  seen.throwFile = throwFile;
  seen.listening = true;
  listenToStatus();
  showPalette(pageAddress);
  return showButton();
}

void endEvents() {
  seen.listening = false;
  if (seen.thrown) {
    ask("exception.next-handler", "Is the next handler called after one that has thrown?",
        [] { return false; });
    ask("exception.host-goes-on", "Does the host go on after an exception?", [] { return true; });
  }
  sumUp();
}

}  // namespace probe
