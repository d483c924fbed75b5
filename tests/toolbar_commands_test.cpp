// The toolbar's commands: clicks, and the e-shop's handlers that nobody connects.
#include "tests/AddInFixture.h"

namespace core = adsk::core;

namespace {

class ToolbarCommands : public AddInFixture {
 protected:
  void SetUp() override {
    ASSERT_EQ(startAfter(9), true);
    calls();
  }

  // The host creates a command for the handler `created`, then executes it. The handlers that were
  // connected to it.
  std::vector<core::EventHandler*> createAndExecute(const char* created) {
    auto& handler = global<core::CommandCreatedEventHandler>(created);
    substitute::CallInterceptor& interceptor = host->interceptor();
    const auto command = substitute::makeHostObject<substitute::CommandObject>(interceptor);
    const auto creation = substitute::makeHostObject<substitute::CommandCreatedEventArgsObject>(
        interceptor, *command);
    substitute::CommandCreatedEventObject event(interceptor);
    const auto call = [](auto& /*handler*/, const auto& work) { work(); };
    event.registrations.add(&handler);
    event.raise(creation.get(), call);
    const auto execution =
        substitute::makeHostObject<substitute::CommandEventArgsObject>(interceptor);
    host->callEntryPoint("execute", [&] {
      command->execute->raise(execution.get(), call);
      return true;
    });
    return command->execute->registrations.handlers();
  }
};

}  // namespace

TEST_F(ToolbarCommands, TheEshopsHandlersOpenTheEshop) {
  createAndExecute("_cmdEshopCreated");
  EXPECT_EQ(calls(),
            (Calls{"CommandCreatedEventArgs.command() = Command",
                   "Command.commandInputs() = CommandInputs", "Command.execute() = CommandEvent",
                   "CommandEvent.add(CmdEshopExecuteEventHandler) = true", "execute",
                   "execute = true", "open(\"https://eshop.tessaro.example\")"}));
}

TEST_F(ToolbarCommands, EachConnectsTheGlobalHandler) {
  using Handlers = std::vector<core::EventHandler*>;
  EXPECT_EQ(createAndExecute("_cmdCreated"), Handlers{&global<core::EventHandler>("_cmdExecute")});
  EXPECT_EQ(createAndExecute("_cmdEshopCreated"),
            Handlers{&global<core::EventHandler>("_cmdEshopExecute")});
}

TEST_F(ToolbarCommands, TheEshopWithoutInputsOrExecuteEventConnectsNothing) {
  for (const char* const operation : {"Command.commandInputs", "Command.execute"}) {
    fail(operation);
    EXPECT_TRUE(createAndExecute("_cmdEshopCreated").empty());
    EXPECT_TRUE(runsOfOpen().empty());
  }
}

TEST_F(ToolbarCommands, AFailingOpenOfTheEshopIsNotNoticed) {
  writeFile(folder.path() + "/open", "#!/bin/sh\n: >\"$0.ran\"\nexit 7\n");
  std::filesystem::permissions(folder.path() + "/open", std::filesystem::perms::owner_all);
  setenv("PATH", folder.path().c_str(), 1);
  createAndExecute("_cmdEshopCreated");
  EXPECT_TRUE(std::filesystem::exists(folder.path() + "/open.ran"));
  EXPECT_EQ(monitor->thrown(), std::vector<std::string>());
}
