// Each call of the host whose failure the add-in looks at, or must not: how far it goes then, what
// it returns, and what it leaves.
#include "tests/AddInFixture.h"

using substitute::Json;
using substitute::ObjectKind;

namespace {

struct Failure {
  const char* operation;  // fails once; null: nothing does
  const char* returned;   // by the call into the add-in; empty where it returns nothing
  bool ends;              // the host is asked nothing more
  const char* palette;    // what there is afterwards, in the words of palette() and rest()
  const char* rest;
};

class FailedCall : public AddInFixture {
 protected:
  using Step = std::function<std::string()>;

  // Plays `step` in a new host after `before`, once for each of `failures`.
  void expectEach(const Step& before, const Step& step, const std::vector<Failure>& failures) {
    for (const Failure& failure : failures) {
      SCOPED_TRACE(failure.operation != nullptr ? failure.operation : "nothing fails");
      unload();
      std::filesystem::remove(infoFile);
      install(substitute::Settings(host->settings()));
      load();
      before();
      calls();
      if (failure.operation != nullptr) fail(failure.operation);
      EXPECT_EQ(step(), failure.returned);
      const Calls seen = calls();
      const auto failed = std::find_if(seen.begin(), seen.end(), [](const std::string& call) {
        return call.find(" fails by ") != std::string::npos;
      });
      EXPECT_EQ(failed == seen.end(), failure.operation == nullptr);
      const auto isCall = [](const std::string& call) {
        return call.find('(') != std::string::npos;
      };
      EXPECT_EQ(failed != seen.end() && std::none_of(failed + 1, seen.end(), isCall), failure.ends);
      EXPECT_EQ(monitor->thrown(), std::vector<std::string>());
      EXPECT_EQ(paletteInWords(), failure.palette);
      EXPECT_EQ(restInWords(), failure.rest);
    }
  }

  std::string nothing() { return ""; }
  std::string run() { return inWords(start()); }
  std::string stopped() { return inWords(stop()); }
  std::string started(int starts) { return inWords(startAfter(starts)); }
  std::string opened() { return inWords(OpenPalette()); }

 private:
  static std::string inWords(std::optional<bool> result) {
    if (!result) return "nothing";
    return *result ? "true" : "false";
  }

  static std::string words(const std::vector<std::pair<bool, const char*>>& all) {
    std::string text;
    for (const auto& [holds, word] : all) {
      if (holds) text += (text.empty() ? "" : " ") + std::string(word);
    }
    return text;
  }

  // The learning palette, and whether the add-in keeps one, be it this or an earlier one.
  std::string paletteInWords() {
    const Json found = learningPalette();
    const bool there = !found.is_null();
    return words({{static_cast<bool>(palette()), "kept"},
                  {there, "there"},
                  {there && found["dockingState"] == 4, "docked"},
                  {there && !found["handlers"].empty(), "heard"},
                  {there && found["visible"] == true, "shown"}});
  }

  std::string restInWords() {
    const Json all = state();
    const Json& definitions = all["definitions"];
    return words({{std::filesystem::exists(infoFile), "file"},
                  {static_cast<bool>(app()), "app"},
                  {static_cast<bool>(ui()), "ui"},
                  {!all["onlineStatusHandlers"].empty(), "online"},
                  {!definitions.empty(), "definition"},
                  {all["toolbars"].at(0)["controls"].size() == 2, "button"},
                  {!definitions.empty() && !definitions.at(0)["handlers"].empty(), "connected"}});
  }
};

constexpr const char* shown = "kept there docked heard shown";
constexpr const char* ready = "file app ui online definition button connected";

}  // namespace

TEST_F(FailedCall, OfRun) {
  expectEach(
      [this] { return nothing(); }, [this] { return run(); },
      {
          {nullptr, "true", false, shown, ready},
          {"Application.get", "false", true, "", ""},
          {"Application.userInterface", "false", true, "", "app"},
          {"Application.onlineStatusChanged", "false", true, "", "file app ui"},
          {"ApplicationEvent.add", "true", false, shown, "file app ui definition button connected"},
          {"Palettes.add", "true", false, "", ready},
          {"Toolbars.itemById", "false", true, shown, "file app ui online"},
          {"CommandDefinitions.addButtonDefinition", "false", true, shown, "file app ui online"},
          {"ToolbarControls.addCommand", "false", true, shown, "file app ui online definition"},
          {"CommandDefinition.commandCreated", "false", true, shown,
           "file app ui online definition button"},
          {"CommandCreatedEvent.add", "false", true, shown, "file app ui online definition button"},
      });
}

TEST_F(FailedCall, OfStop) {
  expectEach([this] { return run(); }, [this] { return stopped(); },
             {
                 {nullptr, "true", false, "kept", "file app online"},
                 {"UserInterface.palettes", "false", true, shown, ready},
                 {"Palettes.itemById", "true", false, shown, "file app online"},
                 {"Palette.deleteMe", "true", false, shown, "file app online"},
                 {"Base.isValid", "true", false, "kept", "file app online"},
                 {"Toolbars.itemById", "false", true, "kept", ready},
                 {"CommandDefinition.deleteMe", "true", false, "kept",
                  "file app online definition connected"},
                 {"Base.query", "true", true, "kept", "file app online button"},
                 {"ToolbarControl.deleteMe", "true", true, "kept", "file app online button"},
             });
}

// A palette was open once, and the host has lost it.
TEST_F(FailedCall, OfOpeningThePalette) {
  const auto before = [this] {
    started(9);
    opened();
    host->remove(ObjectKind::palette, "teachPalete");
    return "";
  };
  expectEach(before, [this] { return opened(); },
             {
                 {nullptr, "true", false, shown, ready},
                 {"Application.get", "false", true, "kept", ready},
                 {"Application.userInterface", "false", true, "kept", ready},
                 {"UserInterface.palettes", "false", true, "kept", ready},
                 {"Palettes.add", "false", true, "", ready},
                 {"Palette.dockingState", "true", false, "kept there heard shown", ready},
                 {"Palette.incomingFromHTML", "false", true, "kept there docked shown", ready},
                 {"HTMLEvent.add", "false", true, "kept there docked shown", ready},
                 {"Palette.isVisible", "true", true, shown, ready},
             });
}

TEST_F(FailedCall, OfShowingAPaletteThatIsThere) {
  const auto before = [this] {
    run();
    host->setVisible("teachPalete", false);
    return "";
  };
  expectEach(before, [this] { return opened(); },
             {{"Palette.isVisible", "true", true, "kept there docked heard", ready}});
}

TEST_F(FailedCall, OfGoingOnline) {
  const auto before = [this] {
    host->setOffline(true);
    return run();
  };
  const auto goOnline = [this] {
    host->setOffline(false);
    return "";
  };
  expectEach(before, goOnline,
             {
                 {nullptr, "", false, shown, ready},
                 {"UserInterface.palettes", "", true, "", ready},
                 {"Palettes.add", "", true, "", ready},
                 {"Palette.dockingState", "", false, "kept there heard shown", ready},
                 {"Palette.incomingFromHTML", "", true, "kept there docked shown", ready},
                 {"HTMLEvent.add", "", true, "kept there docked shown", ready},
                 {"Palette.isVisible", "", true, shown, ready},
             });
}

TEST_F(FailedCall, OfAClick) {
  const auto click = [this] {
    host->click("runTeachPalette");
    return "";
  };
  expectEach([this] { return started(9); }, click,
             {
                 {nullptr, "", false, shown, ready},
                 {"Command.commandInputs", "", true, "", ready},
                 {"Command.execute", "", true, "", ready},
                 {"CommandEvent.add", "", true, "", ready},
                 {"Palettes.add", "", true, "", ready},
             });
}

TEST_F(FailedCall, ByAnExceptionLeavesTheAddInWhichKeepsWhatItHas) {
  throwIn("ToolbarControls.addCommand");
  EXPECT_EQ(start(), std::nullopt);
  EXPECT_EQ(calls().back(), "threw std::runtime_error");
  EXPECT_EQ(learningPalette()["visible"], true);
  // app, ui and palette; everything local has been released on the way out.
  EXPECT_EQ(state()["references"], 3);
  throwIn("Palette.isVisible");
  host->setOffline(false);
  EXPECT_EQ(calls().back(), "threw std::runtime_error");
}
