// The toolbar's commands: clicks, and the e-shop's handlers that nobody connects.
#include "tests/AddInFixture.h"

namespace core = adsk::core;
using substitute::ClickResult;
using substitute::Json;

namespace {

const std::string id = "runTeachPalette";

class ToolbarCommands : public AddInFixture {
 protected:
  void SetUp() override {
    ASSERT_EQ(startAfter(9), true);
    calls();
  }

  // The host creates a command for the handler `created`, then executes it.
  void createAndExecute(const char* created) {
    auto& handler = global<core::CommandCreatedEventHandler>(created);
    substitute::CallInterceptor& interceptor = host->interceptor();
    const auto command = substitute::makeHostObject<substitute::CommandObject>(interceptor);
    const auto creation = substitute::makeHostObject<substitute::CommandCreatedEventArgsObject>(
        interceptor, *command);
    substitute::CommandCreatedEventObject event(interceptor);
    const auto call = [](auto& /*handler*/, const auto& work) { work(); };
    event.registrations.add(&handler);
    event.raise(creation.get(), call);
    connected = command->execute->registrations.handlerNames();
    const auto execution =
        substitute::makeHostObject<substitute::CommandEventArgsObject>(interceptor);
    host->callEntryPoint("execute", [&] {
      command->execute->raise(execution.get(), call);
      return true;
    });
  }

  std::vector<std::string> connected;
};

}  // namespace

TEST_F(ToolbarCommands, AClickCreatesAndExecutesInItsOrder) {
  EXPECT_EQ(host->click(id), ClickResult::done);
  const Calls seen = calls();
  const Calls begin = {
      "notify CmdCreatedEventHandler",
      "CommandCreatedEventArgs.command() = Command",
      "Command.commandInputs() = CommandInputs",
      "Command.execute() = CommandEvent",
      "CommandEvent.add(\"CmdExecuteEventHandler\") = true",
      "notify CmdExecuteEventHandler",
      "Application.executeTextCommand(\"Debug.EntitlementString\") = TEXT",
  };
  ASSERT_EQ(seen.size(), 6U + 13U);
  EXPECT_EQ(Calls(seen.begin(), seen.begin() + static_cast<long>(begin.size())), begin);
  EXPECT_EQ(seen.back(), "Palette.isVisible(true) on Palette:teachPalete = true");
  EXPECT_EQ(learningPalette()["visible"], true);
}

TEST_F(ToolbarCommands, EachClickConnectsAndOpensOnce) {
  for (int i = 0; i < 3; ++i) {
    host->setVisible("teachPalete", false);
    EXPECT_EQ(host->click(id), ClickResult::done);
    const Calls seen = calls();
    EXPECT_EQ(
        std::count(seen.begin(), seen.end(), "CommandEvent.add(\"CmdExecuteEventHandler\") = true"),
        1);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), "notify CmdExecuteEventHandler"), 1);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), "UserInterface.palettes() = Palettes"), 1);
    EXPECT_EQ(learningPalette()["visible"], true);
  }
  EXPECT_EQ(state()["palettes"].size(), 1U);
}

TEST_F(ToolbarCommands, WithoutInputsOrExecuteEventTheClickDoesNothing) {
  for (const char* const operation : {"Command.commandInputs", "Command.execute"}) {
    fail(operation);
    EXPECT_EQ(host->click(id), ClickResult::done);
    EXPECT_EQ(calls().back(), std::string(operation) + "() fails by null");
    EXPECT_TRUE(learningPalette().is_null());
  }
}

TEST_F(ToolbarCommands, AFailedOpeningIsIgnored) {
  fail("Palettes.add");
  EXPECT_EQ(host->click(id), ClickResult::done);
  const Calls seen = calls();
  for (const std::string& call : seen) EXPECT_NE(call.rfind("threw", 0), 0U) << call;
  EXPECT_EQ(seen.back().rfind("Palettes.add(", 0), 0U) << seen.back();
  EXPECT_TRUE(learningPalette().is_null());
}

TEST_F(ToolbarCommands, NoEshopCommandIsThereToClick) {
  EXPECT_EQ(host->click("openEshop"), ClickResult::noControl);
  for (const Json& definition : Json(state()["definitions"]))
    EXPECT_NE(definition["id"], "openEshop");
}

TEST_F(ToolbarCommands, TheEshopsHandlersOpenTheEshop) {
  createAndExecute("_cmdEshopCreated");
  EXPECT_EQ(connected, std::vector<std::string>{"CmdEshopExecuteEventHandler"});
  EXPECT_EQ(calls(),
            (Calls{"CommandCreatedEventArgs.command() = Command",
                   "Command.commandInputs() = CommandInputs", "Command.execute() = CommandEvent",
                   "CommandEvent.add(\"CmdEshopExecuteEventHandler\") = true", "execute",
                   "execute returned true", "open [https://eshop.tessaro.example]"}));
}

TEST_F(ToolbarCommands, TheEshopWithoutInputsOrExecuteEventConnectsNothing) {
  for (const char* const operation : {"Command.commandInputs", "Command.execute"}) {
    fail(operation);
    createAndExecute("_cmdEshopCreated");
    EXPECT_TRUE(connected.empty());
    EXPECT_TRUE(runsOfOpen().empty());
  }
}

TEST_F(ToolbarCommands, AFailingOpenOfTheEshopIsNotNoticed) {
  writeFile(folder.path() + "/open", "#!/bin/sh\n: >\"$0.ran\"\nexit 7\n");
  std::filesystem::permissions(folder.path() + "/open", std::filesystem::perms::owner_all);
  setenv("PATH", folder.path().c_str(), 1);
  createAndExecute("_cmdEshopCreated");
  EXPECT_TRUE(std::filesystem::exists(folder.path() + "/open.ran"));
  for (const std::string& call : calls()) EXPECT_NE(call.rfind("threw", 0), 0U) << call;
}
