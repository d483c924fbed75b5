// Each call of the host whose failure the add-in looks at, or must not: how far it goes then, what
// it returns, and what it leaves.
#include "tests/AddInFixture.h"

using substitute::Json;

namespace {

constexpr bool ends = true;  // the host is asked nothing more
constexpr bool goesOn = false;
constexpr std::optional<bool> nothing;

struct Failure {
  const char* operation;         // fails once; null: nothing does
  std::optional<bool> returned;  // by the call into the add-in
  bool end;
  const char* palette;  // what there is afterwards, in the words of thePalette()
  const char* rest;     // and of theRest()
};

class FailedCall : public AddInFixture {
 protected:
  // Plays `step` in a new host after `before`, once for each of `failures`.
  void expectEach(const std::function<void()>& before,
                  const std::function<std::optional<bool>()>& step,
                  const std::vector<Failure>& failures) {
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
      // The last call of the host; events have no brackets.
      std::string last;
      for (const std::string& call : calls()) {
        if (call.find('(') != std::string::npos) last = call;
      }
      EXPECT_EQ(state()["pendingFaults"], Json::array());
      EXPECT_EQ(last.find("(planned)") != std::string::npos, failure.end);
      EXPECT_EQ(monitor->thrown(), std::vector<std::string>());
      EXPECT_EQ(thePalette(), failure.palette);
      EXPECT_EQ(theRest(), failure.rest);
    }
  }

 private:
  static std::string words(const std::vector<std::pair<bool, const char*>>& all) {
    std::string text;
    for (const auto& [holds, word] : all) {
      if (holds) text += (text.empty() ? "" : " ") + std::string(word);
    }
    return text;
  }

  // The learning palette, and whether the add-in keeps one, be it this or an earlier one.
  std::string thePalette() {
    const Json found = learningPalette();
    const bool there = !found.is_null();
    return words({{holds("palette"), "kept"},
                  {there, "there"},
                  {there && found["dockingState"] == 4, "docked"},
                  {there && !found["handlers"].empty(), "heard"},
                  {there && found["visible"] == true, "shown"}});
  }

  std::string theRest() {
    const Json all = state();
    const Json& definitions = all["definitions"];
    return words({{std::filesystem::exists(infoFile), "file"},
                  {holds("app"), "app"},
                  {holds("ui"), "ui"},
                  {!all["onlineStatusHandlers"].empty(), "online"},
                  {!definitions.empty(), "definition"},
                  {all["toolbars"].at(0)["controls"].size() == 2, "button"},
                  {!definitions.empty() && !definitions.at(0)["handlers"].empty(), "connected"}});
  }
};

constexpr const char* shown = "kept there docked heard shown";
constexpr const char* ready = "file app ui online definition button connected";
constexpr const char* stopped = "file app online";

}  // namespace

TEST_F(FailedCall, OfRun) {
  const char* const begun = "file app ui online";
  const char* const defined = "file app ui online definition";
  const char* const placed = "file app ui online definition button";
  const auto before = [] {};
  const auto step = [this] { return start(); };
  expectEach(
      before, step,
      {{nullptr, true, goesOn, shown, ready},
       {"Application.get", false, ends, "", ""},
       {"Application.userInterface", false, ends, "", "app"},
       {"Application.onlineStatusChanged", false, ends, "", "file app ui"},
       {"ApplicationEvent.add", true, goesOn, shown, "file app ui definition button connected"},
       {"Palettes.add", true, goesOn, "", ready},
       {"Toolbars.itemById", false, ends, shown, begun},
       {"CommandDefinitions.addButtonDefinition", false, ends, shown, begun},
       {"ToolbarControls.addCommand", false, ends, shown, defined},
       {"CommandDefinition.commandCreated", false, ends, shown, placed},
       {"CommandCreatedEvent.add", false, ends, shown, placed}});
}

TEST_F(FailedCall, OfStop) {
  const auto before = [this] { start(); };
  const auto step = [this] { return stop(); };
  expectEach(
      before, step,
      {{nullptr, true, goesOn, "kept", stopped},
       {"UserInterface.palettes", false, ends, shown, ready},
       {"Palettes.itemById", true, goesOn, shown, stopped},
       {"Palette.deleteMe", true, goesOn, shown, stopped},
       {"Base.isValid", true, goesOn, "kept", stopped},
       {"Toolbars.itemById", false, ends, "kept", ready},
       {"CommandDefinition.deleteMe", true, goesOn, "kept", "file app online definition connected"},
       {"Base.query", true, ends, "kept", "file app online button"},
       {"ToolbarControl.deleteMe", true, ends, "kept", "file app online button"}});
}

// A palette was open once, and the host has lost it.
TEST_F(FailedCall, OfOpeningThePalette) {
  const auto before = [this] {
    startAfter(9);
    OpenPalette();
    host->remove(substitute::ObjectKind::palette, "teachPalete");
  };
  const auto step = [this] { return OpenPalette(); };
  expectEach(before, step,
             {{nullptr, true, goesOn, shown, ready},
              {"Application.get", false, ends, "kept", ready},
              {"Application.userInterface", false, ends, "kept", ready},
              {"UserInterface.palettes", false, ends, "kept", ready},
              {"Palettes.add", false, ends, "", ready},
              {"Palette.dockingState", true, goesOn, "kept there heard shown", ready},
              {"Palette.incomingFromHTML", false, ends, "kept there docked shown", ready},
              {"HTMLEvent.add", false, ends, "kept there docked shown", ready},
              {"Palette.isVisible", true, ends, shown, ready}});
}

TEST_F(FailedCall, OfShowingAPaletteThatIsThere) {
  const auto before = [this] {
    start();
    host->setVisible("teachPalete", false);
  };
  const auto step = [this] { return OpenPalette(); };
  expectEach(before, step,
             {{nullptr, true, goesOn, shown, ready},
              {"Palette.isVisible", true, ends, "kept there docked heard", ready}});
}

TEST_F(FailedCall, OfGoingOnline) {
  const auto before = [this] {
    host->setOffline(true);
    start();
  };
  const auto step = [this] {
    host->setOffline(false);
    return nothing;
  };
  expectEach(before, step,
             {{nullptr, nothing, goesOn, shown, ready},
              {"UserInterface.palettes", nothing, ends, "", ready},
              {"Palettes.add", nothing, ends, "", ready},
              {"Palette.dockingState", nothing, goesOn, "kept there heard shown", ready},
              {"Palette.incomingFromHTML", nothing, ends, "kept there docked shown", ready},
              {"HTMLEvent.add", nothing, ends, "kept there docked shown", ready},
              {"Palette.isVisible", nothing, ends, shown, ready}});
}
