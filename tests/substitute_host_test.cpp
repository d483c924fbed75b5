// The substitute host itself: what the other tests rely on.
#include "tests/AddInFixture.h"

extern "C" int _NSGetExecutablePath(char* path, std::uint32_t* size);

namespace core = adsk::core;
using substitute::Json;

namespace {

// A host without the add-in: the tests call the host themselves.
using SubstituteHost = AddInFixture;

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

TEST_F(SubstituteHost, KnowsOneTextCommand) {
  EXPECT_EQ(core::Application::get()->executeTextCommand("Debug.EntitlementString"), "TEXT");
  EXPECT_EQ(core::Application::get()->executeTextCommand("Debug.Other"), "");
  EXPECT_EQ(calls().back(), "Application.executeTextCommand(\"Debug.Other\") = null");
}

TEST_F(SubstituteHost, PlacesAControlByTheOneNamed) {
  const auto ui = core::Application::get()->userInterface();
  const auto controls = ui->toolbars()->itemById("QATRight")->controls();
  const auto add = [&](const char* id, const char* position, bool isBefore) {
    const auto definition = ui->commandDefinitions()->addButtonDefinition(id, "", "", "");
    controls->addCommand(definition, position, isBefore);
  };
  host->plant(substitute::ObjectKind::control, "last");
  add("behind", "HelpGroupCommand", false);
  add("before", "HelpGroupCommand", true);
  add("end", "nowhere", false);
  EXPECT_FALSE(controls->addCommand({}, "HelpGroupCommand", false));
  std::string ids;
  for (const Json& control : Json(state()["toolbars"].at(0)["controls"])) {
    ids += control["id"].get<std::string>() + " ";
  }
  EXPECT_EQ(ids, "before HelpGroupCommand behind last end ");
}

TEST_F(SubstituteHost, ADeletedPaletteTakesNoValue) {
  const auto palette = core::Application::get()->userInterface()->palettes()->add(
      "p", "title", "address", true, true, true, 3, 4, true);
  EXPECT_TRUE(palette->deleteMe());
  EXPECT_FALSE(palette->isVisible(true));
  EXPECT_FALSE(palette->dockingState(static_cast<core::PaletteDockingStates>(4)));
}

TEST_F(SubstituteHost, RefusesAnIdThatIsTakenAndToRemoveWhatIsNotThere) {
  using substitute::ObjectKind;
  for (const ObjectKind kind : {ObjectKind::palette, ObjectKind::definition, ObjectKind::control,
                                ObjectKind::plainControl}) {
    EXPECT_FALSE(host->remove(kind, "x"));
    EXPECT_TRUE(host->plant(kind, "x"));
    EXPECT_FALSE(host->plant(kind, "x"));
    EXPECT_TRUE(host->remove(kind, "x"));
  }
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
