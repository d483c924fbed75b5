// The substitute host itself: what the other tests rely on.
#include "tests/AddInFixture.h"

extern "C" int _NSGetExecutablePath(char* path, std::uint32_t* size);

namespace core = adsk::core;
using substitute::Json;
using substitute::ObjectKind;

namespace {

// A host without the add-in: the tests call the host themselves.
class SubstituteHost : public AddInFixture {
 protected:
  core::Ptr<core::Palettes> palettes() {
    return core::Application::get()->userInterface()->palettes();
  }
  core::Ptr<core::CommandDefinitions> definitions() {
    return core::Application::get()->userInterface()->commandDefinitions();
  }
  core::Ptr<core::ToolbarControls> controls() {
    return core::Application::get()->userInterface()->toolbars()->itemById("QATRight")->controls();
  }
  core::Ptr<core::Palette> addPalette(const std::string& id) {
    return palettes()->add(id, "title", "address", true, true, true, 3, 4, true);
  }
  Json controlIds() {
    Json ids = Json::array();
    for (const Json& control : Json(state()["toolbars"].at(0)["controls"])) {
      ids.push_back(control["id"]);
    }
    return ids;
  }
};

class CountingHandler : public core::ApplicationEventHandler {
 public:
  void notify(const core::Ptr<core::ApplicationEventArgs>& /*eventArgs*/) override { ++calls; }
  int calls = 0;
};

}  // namespace

TEST_F(SubstituteHost, IsOneInAProcess) {
  EXPECT_THROW(substitute::Host{substitute::Settings{}}, std::logic_error);
  EXPECT_EQ(substitute::Host::current(), host.get());
}

TEST_F(SubstituteHost, ItsLibraryKnowsNothingOfTheAddInAndOfCommandLines) {
  const std::string library = readFile(VELORIN_HOST_LIBRARY);
  EXPECT_NE(library.find("HelpGroupCommand"), std::string::npos);
  // The last is the namespace of the parser of options, mangled.
  for (const char* const name : {"teachPalete", "runTeachPalette", "openEshop", "Velorin_Info",
                                 "AddIns", "Zobrazit", "N3CLI"}) {
    EXPECT_EQ(library.find(name), std::string::npos) << name;
  }
}

TEST_F(SubstituteHost, ASubscriptionEndsWithItsOwner) {
  substitute::Signal<int> signal;
  std::vector<std::string> seen;
  auto first =
      signal.subscribe([&](int value) { seen.push_back("first " + std::to_string(value)); });
  {
    const auto second = signal.subscribe([&](int value) {
      seen.push_back("second " + std::to_string(value));
      first.reset();
    });
    signal.publish(1);
    signal.publish(2);
  }
  EXPECT_FALSE(signal.hasListeners());
  signal.publish(3);
  EXPECT_EQ(seen, (std::vector<std::string>{"first 1", "second 1", "second 2"}));
}

TEST_F(SubstituteHost, FindsAReferenceLeftBehindOrDroppedTwice) {
  core::Application* const application = core::Application::get_raw();
  EXPECT_EQ(substitute::resourceCounts().references, 1);
  application->release();
  application->release();
  EXPECT_EQ(substitute::resourceCounts().references, 0);
  EXPECT_EQ(substitute::resourceCounts().invalidReleases, 1);
  EXPECT_EQ(controlIds(), Json::array({"HelpGroupCommand"})) << "the object is still there";
  allowCountingErrors();
}

TEST_F(SubstituteHost, FindsATextLeftBehindOrFreedTwice) {
  const auto application = core::Application::get();
  char* const text = application->executeTextCommand_raw("Debug.EntitlementString");
  EXPECT_STREQ(text, "TEXT");
  EXPECT_EQ(state()["text"], 1);
  core::DeallocateArray<char>(text);
  EXPECT_EQ(state()["text"], 0);
  core::DeallocateArray<char>(text);
  core::DeallocateArray<char>(nullptr);
  EXPECT_EQ(substitute::resourceCounts().invalidDeallocations, 2);
  allowCountingErrors();
}

TEST_F(SubstituteHost, KnowsOneTextCommand) {
  EXPECT_EQ(core::Application::get()->executeTextCommand("Debug.EntitlementString"), "TEXT");
  EXPECT_EQ(core::Application::get()->executeTextCommand("Debug.Other"), "");
  EXPECT_EQ(calls().back(), "Application.executeTextCommand(\"Debug.Other\") = null");
}

TEST_F(SubstituteHost, PlacesAControlByTheOneNamed) {
  host->plant(ObjectKind::control, "last");
  const auto add = [this](const std::string& id, const std::string& position, bool isBefore) {
    controls()->addCommand(definitions()->addButtonDefinition(id, "", "", ""), position, isBefore);
  };
  add("behind", "HelpGroupCommand", false);
  add("before", "HelpGroupCommand", true);
  add("end", "nowhere", false);
  EXPECT_FALSE(controls()->addCommand({}, "HelpGroupCommand", false));
  EXPECT_EQ(controlIds(), (Json{"before", "HelpGroupCommand", "behind", "last", "end"}));
}

TEST_F(SubstituteHost, ADeletedPaletteLivesOnInItsHandles) {
  const auto palette = addPalette("p");
  EXPECT_TRUE(palette->isValid());
  EXPECT_TRUE(palette->deleteMe());
  EXPECT_FALSE(palette->isValid());
  EXPECT_FALSE(palette->isVisible(true));
  EXPECT_FALSE(palette->dockingState(static_cast<core::PaletteDockingStates>(4)));
  EXPECT_TRUE(palette->incomingFromHTML());
  EXPECT_FALSE(palettes()->itemById("p"));
}

TEST_F(SubstituteHost, TakesAwayWhatIsPlantedAndRefusesAnIdThatIsTaken) {
  for (const ObjectKind kind : {ObjectKind::palette, ObjectKind::definition, ObjectKind::control,
                                ObjectKind::plainControl}) {
    EXPECT_FALSE(host->remove(kind, "x"));
    EXPECT_TRUE(host->plant(kind, "x"));
    EXPECT_FALSE(host->plant(kind, "x"));
    EXPECT_TRUE(host->remove(kind, "x"));
  }
  EXPECT_TRUE(host->plant(ObjectKind::control, "x"));
  EXPECT_FALSE(host->plant(ObjectKind::plainControl, "x"));
  EXPECT_FALSE(host->remove(ObjectKind::plainControl, "x"));
  EXPECT_TRUE(host->remove(ObjectKind::toolbar, "QATRight"));
  EXPECT_FALSE(host->remove(ObjectKind::toolbar, "QATRight"));
  EXPECT_FALSE(host->plant(ObjectKind::control, "y"));
}

TEST_F(SubstituteHost, CatchesAndTracesEveryException) {
  EXPECT_EQ(host->callEntryPoint("call", []() -> bool { throw std::out_of_range("far"); }),
            std::nullopt);
  EXPECT_EQ(host->callEntryPoint("call", []() -> bool { throw 7; }), std::nullopt);
  EXPECT_EQ(calls(), (Calls{"call", "threw std::out_of_range", "call", "threw int"}));
}

TEST_F(SubstituteHost, AHandlerThatEndsIsDroppedFromEveryEvent) {
  CountingHandler stays;
  {
    CountingHandler goes;
    const auto event = core::Application::get()->onlineStatusChanged();
    EXPECT_TRUE(event->add(&goes));
    EXPECT_TRUE(event->add(&stays));
    EXPECT_TRUE(event->add(&goes));
    host->setOffline(true);
    EXPECT_EQ(goes.calls, 2);
    EXPECT_EQ(stays.calls, 1);
  }
  host->setOffline(false);
  EXPECT_EQ(stays.calls, 2);
  EXPECT_EQ(state()["onlineStatusHandlers"].size(), 1U);
}

// A registration that the event leaves behind is used when the handler ends: the sanitizer reports
// it.
TEST_F(SubstituteHost, AHandlerMayOutliveItsEvent) {
  CountingHandler handler;
  {
    substitute::ApplicationEventObject event(host->interceptor());
    EXPECT_TRUE(event.add_raw(&handler));
  }
  EXPECT_TRUE(core::Application::get()->onlineStatusChanged()->add(&handler));
  EXPECT_FALSE(core::Application::get()->onlineStatusChanged()->add(nullptr));
  host->setOffline(true);
  EXPECT_EQ(handler.calls, 1);
}

TEST_F(SubstituteHost, RecordsOpenArgumentByArgument) {
  EXPECT_EQ(system("open 'a b' '' '\n'"), 0);
  EXPECT_EQ(system("open"), 0);
  host->callEntryPoint("call", [] { return true; });
  EXPECT_EQ(runsOfOpen(), (std::vector<std::vector<std::string>>{{"a b", "", "\n"}, {}}));
}

TEST_F(SubstituteHost, GivesPathBack) {
  const std::string during = getenv("PATH");
  recorder.reset();
  EXPECT_NE(getenv("PATH"), during);
  EXPECT_FALSE(std::filesystem::exists(during.substr(0, during.find(':'))));
}

TEST_F(SubstituteHost, ReportsItsExecutableOnTheSystemsTerms) {
  char path[512] = "unchanged";
  std::uint32_t size = 5;
  EXPECT_EQ(_NSGetExecutablePath(path, &size), -1);
  EXPECT_STREQ(path, "unchanged");
  const std::string executable = substitute::settingsIn(folder.path()).executable;
  EXPECT_EQ(size, executable.size() + 1);
  EXPECT_EQ(_NSGetExecutablePath(path, &size), 0);
  EXPECT_EQ(path, executable);
}
