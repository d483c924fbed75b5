// The handle's counting rules and host text, on objects that only count.
#include <Core/CoreAll.h>
#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>
#include <vector>

#include "tests/System.h"

namespace core = adsk::core;

namespace {

// What the host's library would keep: the texts handed back.
std::vector<char*>& handedBack() {
  static std::vector<char*> texts;
  return texts;
}

// Counts instead of living and dying; remembers the order in which counts changed.
template <class Interface>
class Fake : public Interface {
 public:
  explicit Fake(std::string newName = "", std::vector<std::string>* newLog = nullptr)
      : name(std::move(newName)), log(newLog) {}
  void addref() const override {
    ++count;
    if (log != nullptr) log->push_back("+" + name);
  }
  void release() const override {
    --count;
    if (log != nullptr) log->push_back("-" + name);
  }
  void* queryInterface(const char* id) const override {
    ++queries;
    if (queried == nullptr || std::strcmp(id, core::CommandControl::classType()) != 0) {
      return nullptr;
    }
    return queried;
  }
  bool isValid_raw() const override { return valid; }

  std::string name;
  std::vector<std::string>* log;
  mutable int count = 0;
  mutable int queries = 0;
  core::CommandControl* queried = nullptr;
  bool valid = true;
};

class FakeInputs : public Fake<core::CommandInputs> {
  using Fake::Fake;
};

class FakeControl : public Fake<core::CommandControl> {
 public:
  using Fake::Fake;
  bool deleteMe_raw() override { return true; }
};

class FakePlainControl : public Fake<core::ToolbarControl> {
 public:
  using Fake::Fake;
  bool deleteMe_raw() override { return true; }
};

class FakeMessage : public Fake<core::HTMLEventArgs> {
 public:
  char* data_raw() const override { return text; }
  char* text = nullptr;
};

using Inputs = core::Ptr<core::CommandInputs>;

class Declared;  // never defined

}  // namespace

void core::DeallocateArrayInternal(char* text) {
  handedBack().push_back(text);
}
const char* core::CommandControl::classType() {
  return "CommandControl for a test";
}

TEST(Handle, IsOnePointerWide) {
  static_assert(sizeof(Inputs) == sizeof(void*));
  static_assert(std::is_same_v<Inputs, core::Ptr<core::CommandInputs, core::IncompleteType>>);
}

TEST(Handle, StartsEmpty) {
  const Inputs handle;
  EXPECT_FALSE(handle);
  EXPECT_EQ(handle.get(), nullptr);
}

TEST(Handle, AttachTakesTheCallersReferenceOver) {
  FakeInputs object;
  object.count = 1;
  {
    const Inputs handle(&object, true);
    EXPECT_TRUE(handle);
    EXPECT_EQ(handle.get(), &object);
    EXPECT_EQ(object.count, 1);
  }
  EXPECT_EQ(object.count, 0);
}

TEST(Handle, WithoutAttachAddsItsOwnReference) {
  FakeInputs object;
  object.count = 1;
  {
    const Inputs handle(&object, false);
    EXPECT_EQ(object.count, 2);
  }
  EXPECT_EQ(object.count, 1);
}

TEST(Handle, NullGivesAnEmptyHandle) {
  EXPECT_FALSE(Inputs(nullptr, true));
  EXPECT_FALSE(Inputs(nullptr, false));
}

TEST(Handle, CopyAddsOne) {
  FakeInputs object;
  object.count = 1;
  {
    const Inputs handle(&object, true);
    const Inputs copy(handle);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.get(), &object);
    EXPECT_EQ(object.count, 2);
  }
  EXPECT_EQ(object.count, 0);
}

TEST(Handle, CopyOfAnEmptyOneIsEmpty) {
  const Inputs handle;
  const Inputs copy(handle);  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_FALSE(copy);
}

TEST(Handle, AssigningToItselfChangesNothing) {
  std::vector<std::string> log;
  FakeInputs object("A", &log);
  Inputs handle(&object, true);
  const Inputs& itself = handle;
  handle = itself;
  EXPECT_EQ(handle.get(), &object);
  EXPECT_TRUE(log.empty());
  handle = nullptr;
}

TEST(Handle, AssigningTheSameObjectChangesNoCount) {
  std::vector<std::string> log;
  FakeInputs object("A", &log);
  Inputs one(&object, true);
  const Inputs two(&object, true);
  one = two;
  EXPECT_EQ(one.get(), &object);
  EXPECT_TRUE(log.empty());
}

TEST(Handle, AssigningToAnEmptyOneAddsOneAndBothEndsTakeTwo) {
  FakeInputs object;
  object.count = 1;
  {
    const Inputs full(&object, true);
    Inputs empty;
    empty = full;
    EXPECT_EQ(full.get(), &object);
    EXPECT_EQ(empty.get(), &object);
    EXPECT_EQ(object.count, 2);
  }
  EXPECT_EQ(object.count, 0);
}

TEST(Handle, AssigningAnotherReleasesTheOldBeforeItCountsTheNew) {
  std::vector<std::string> log;
  FakeInputs a("A", &log);
  FakeInputs b("B", &log);
  Inputs handle(&a, true);
  const Inputs other(&b, true);
  handle = other;
  EXPECT_EQ(log, (std::vector<std::string>{"-A", "+B"}));
}

TEST(Handle, AssigningAnEmptyOneReleases) {
  FakeInputs object;
  object.count = 1;
  Inputs handle(&object, true);
  handle = Inputs();
  EXPECT_FALSE(handle);
  EXPECT_EQ(object.count, 0);
}

TEST(Handle, AssigningAPointerTakesTheCallersReferenceOver) {
  FakeInputs object;
  object.count = 1;
  Inputs handle;
  handle = &object;
  EXPECT_EQ(object.count, 1);
  handle = nullptr;
  EXPECT_EQ(object.count, 0);
}

TEST(Handle, AssigningNullReleasesOnceAndThenNothing) {
  std::vector<std::string> log;
  FakeInputs object("A", &log);
  Inputs handle(&object, true);
  handle = nullptr;
  EXPECT_FALSE(handle);
  handle = nullptr;
  EXPECT_FALSE(handle);
  EXPECT_EQ(log, std::vector<std::string>{"-A"});
}

TEST(Handle, ResetToTheHeldObjectDoesNothingEvenWithAttach) {
  std::vector<std::string> log;
  FakeInputs object("A", &log);
  Inputs handle(&object, true);
  handle.reset(&object, true);
  handle.reset(&object, false);
  EXPECT_EQ(handle.get(), &object);
  EXPECT_TRUE(log.empty());
}

TEST(Handle, ResetWithAttachOnlyReleasesTheOld) {
  std::vector<std::string> log;
  FakeInputs a("A", &log);
  FakeInputs b("B", &log);
  Inputs handle(&a, true);
  handle.reset(&b, true);
  EXPECT_EQ(handle.get(), &b);
  EXPECT_EQ(log, std::vector<std::string>{"-A"});
}

TEST(Handle, GetAndArrowAndTestLeaveTheCount) {
  std::vector<std::string> log;
  FakeInputs object("A", &log);
  const Inputs handle(&object, true);
  EXPECT_TRUE(handle);
  EXPECT_EQ(handle.get(), &object);
  EXPECT_TRUE(handle->isValid());
  EXPECT_TRUE(log.empty());
}

TEST(Handle, SurvivesACollectionThatMovesIt) {
  FakeInputs object;
  object.count = 1;
  {
    std::vector<Inputs> handles;
    handles.emplace_back(&object, true);
    for (int i = 1; i < 100; ++i) handles.push_back(handles.front());
    EXPECT_EQ(object.count, 100);
    handles.erase(handles.begin(), handles.begin() + 50);
    EXPECT_EQ(object.count, 50);
    std::swap(handles.front(), handles.back());
    EXPECT_EQ(object.count, 50);
  }
  EXPECT_EQ(object.count, 0);
}

TEST(Handle, NeedsNoDefinitionOfItsClass) {
  FakeInputs object;
  const auto* const declared =
      static_cast<Declared*>(static_cast<void*>(static_cast<core::Base*>(&object)));
  {
    const core::Ptr<Declared> handle(declared, false);
    const core::Ptr<Declared> copy(handle);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(object.count, 2);
    EXPECT_TRUE(copy);
  }
  EXPECT_EQ(object.count, 0);
}

TEST(Handle, CountsThroughTheObjectsOwnOperations) {
  FakeInputs object;
  void* const untyped = static_cast<core::CommandInputs*>(&object);
  core::IncompleteType::addref<core::CommandInputs>(untyped);
  EXPECT_EQ(object.count, 1);
  core::IncompleteType::release<core::CommandInputs>(untyped);
  EXPECT_EQ(object.count, 0);
}

TEST(Handle, ArrowOnAnEmptyOneEndsTheProcessWithTheAssertion) {
  const Inputs handle;
  EXPECT_EXIT(handle->isValid(), testing::KilledBySignal(SIGABRT), emptyHandleAssertion);
}

namespace {
class ThrowingRelease : public FakeInputs {
 public:
  void release() const override { throw std::runtime_error("release"); }
};
}  // namespace

TEST(Handle, AnExceptionInTheDestructorEndsTheProcess) {
  static_assert(std::is_nothrow_destructible_v<Inputs>);
  const auto destroy = [] {
    static ThrowingRelease object;
    try {
      const Inputs handle(&object, true);
    } catch (...) {
      std::exit(0);
    }
  };
  EXPECT_EXIT(destroy(), testing::KilledBySignal(SIGABRT), "");
}

TEST(HandleConversion, OfAnEmptyOneAsksNobody) {
  const core::Ptr<core::ToolbarControl> control;
  EXPECT_FALSE(core::Ptr<core::CommandControl>(control));
}

TEST(HandleConversion, OfAnotherKindIsEmptyAndChangesNoCount) {
  std::vector<std::string> log;
  FakePlainControl object("A", &log);
  const core::Ptr<core::ToolbarControl> control(&object, true);
  EXPECT_FALSE(core::Ptr<core::CommandControl>(control));
  EXPECT_EQ(object.queries, 1);
  EXPECT_TRUE(log.empty());
}

TEST(HandleConversion, OfTheKindAddsItsOwnReference) {
  FakeControl object;
  object.queried = &object;
  object.count = 1;
  {
    const core::Ptr<core::ToolbarControl> control(&object, true);
    const core::Ptr<core::CommandControl> command(control);
    EXPECT_EQ(command.get(), &object);
    EXPECT_EQ(object.queries, 1);
    EXPECT_EQ(object.count, 2);
  }
  EXPECT_EQ(object.count, 0);
}

TEST(HostText, IsCopiedAndHandedBackOnce) {
  handedBack().clear();
  FakeMessage message;
  char text[] = "P\xC5\x99\xC3\xADklad";
  message.text = text;
  EXPECT_EQ(message.data(), "P\xC5\x99\xC3\xADklad");
  EXPECT_EQ(handedBack(), std::vector<char*>{text});
}

TEST(HostText, EmptyIsHandedBackToo) {
  handedBack().clear();
  FakeMessage message;
  char text[] = "";
  message.text = text;
  EXPECT_EQ(message.data(), "");
  EXPECT_EQ(handedBack(), std::vector<char*>{text});
}

TEST(HostText, NullIsAnEmptyStringAndNothingIsHandedBack) {
  handedBack().clear();
  const FakeMessage message;
  EXPECT_EQ(message.data(), "");
  EXPECT_TRUE(handedBack().empty());
}

TEST(HostObject, IsValidAsksTheObject) {
  FakeInputs object;
  EXPECT_TRUE(object.isValid());
  object.valid = false;
  EXPECT_FALSE(object.isValid());
}
