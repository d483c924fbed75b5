// The global objects, from load to unload.
#include "tests/AddInFixture.h"

namespace core = adsk::core;

namespace {
class GlobalState : public AddInFixture {};
}  // namespace

TEST_F(GlobalState, IsEmptyAfterLoading) {
  load();
  EXPECT_FALSE(holds("app"));
  EXPECT_FALSE(holds("ui"));
  EXPECT_FALSE(holds("palette"));
  EXPECT_EQ(countOpenPalette(), 0);
}

TEST_F(GlobalState, LoadingAndUnloadingAsksTheHostNothing) {
  writeFile(infoFile, "16.11.2026\n3\n");
  load();
  unload();
  EXPECT_EQ(calls(), Calls());
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n3\n");
}

TEST_F(GlobalState, HoldsItsHandlersUnderTheirNames) {
  const std::pair<const char*, const char*> handlers[] = {
      {"_onHTMLEvent", "RovaHTMLEventHandler"},
      {"_onHTMLEventFirst3", "CadFirst3sHTMLEventHandler"},
      {"_cmdExecute", "CmdExecuteEventHandler"},
      {"_cmdEshopExecute", "CmdEshopExecuteEventHandler"},
      {"_cmdCreated", "CmdCreatedEventHandler"},
      {"_cmdEshopCreated", "CmdEshopCreatedEventHandler"}};
  for (const auto& [name, className] : handlers) {
    const auto& handler = global<core::EventHandler>(name);
    EXPECT_EQ(substitute::typeName(typeid(handler)), className);
  }
}

TEST_F(GlobalState, TheHostCallsTheVeryObjects) {
  ASSERT_EQ(start(), true);
  const auto& userInterface = *host->application().userInterface;
  const auto ofThePalette = [&] {
    return userInterface.palettes->all.items().front()->incomingFromHTML->registrations.handlers();
  };
  EXPECT_EQ(ofThePalette().at(0), &global<core::EventHandler>("_onHTMLEvent"));
  const auto& definition = *userInterface.definitions->all.items().front();
  EXPECT_EQ(definition.commandCreated->registrations.handlers().at(0),
            &global<core::EventHandler>("_cmdCreated"));
  host->remove(substitute::ObjectKind::palette, "teachPalete");
  host->setOffline(false);
  EXPECT_EQ(ofThePalette().at(0), &global<core::EventHandler>("_onHTMLEventFirst3"));
}
