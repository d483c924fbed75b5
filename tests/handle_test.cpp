// The handle's counting rules and host strings, on objects that only count.
#include <Core/CoreAll.h>
#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>
#include <vector>

#include "tests/System.h"

namespace core = adsk::core;

namespace {

// What the host's library would keep: the strings handed back.
std::vector<char*>& handedBack() {
  static std::vector<char*> strings;
  return strings;
}

// Counts, and is never deleted by a count; remembers the order in which counts changed.
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
  char* data_raw() const override { return string; }
  char* string = nullptr;
};

using Inputs = core::Ptr<core::CommandInputs>;

class Declared;  // never defined

}  // namespace

void core::DeallocateArrayInternal(char* string) {
  handedBack().push_back(string);
}
const char* core::CommandControl::classType() {
  return "CommandControl for a test";
}

static_assert(sizeof(Inputs) == sizeof(void*));
static_assert(std::is_same_v<Inputs, core::Ptr<core::CommandInputs, core::IncompleteType>>);
static_assert(std::is_nothrow_destructible_v<Inputs>);

namespace {

// Two objects, with the caller's reference to each; every change of their counts is in the log.
class Handle : public testing::Test {
 protected:
  Handle() { a.count = b.count = 1; }

  using Log = std::vector<std::string>;
  Log log;
  FakeInputs a{"A", &log};
  FakeInputs b{"B", &log};
};

}  // namespace

TEST_F(Handle, StartsEmptyAndIsCopiedEmpty) {
  const Inputs handle;
  EXPECT_FALSE(handle);
  EXPECT_EQ(handle.get(), nullptr);
  EXPECT_FALSE(Inputs(handle));
  EXPECT_FALSE(Inputs(nullptr, true));
  EXPECT_FALSE(Inputs(nullptr, false));
}

TEST_F(Handle, AttachTakesTheCallersReferenceOver) {
  {
    const Inputs handle(&a, true);
    EXPECT_TRUE(handle);
    EXPECT_EQ(handle.get(), &a);
    EXPECT_EQ(log, Log());
  }
  EXPECT_EQ(log, Log{"-A"});
}

TEST_F(Handle, WithoutAttachAddsItsOwnReference) {
  {
    const Inputs handle(&a, false);
    EXPECT_EQ(log, Log{"+A"});
  }
  EXPECT_EQ(log, (Log{"+A", "-A"}));
}

TEST_F(Handle, CopyAddsOne) {
  {
    const Inputs handle(&a, true);
    const Inputs copy(handle);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.get(), &a);
    EXPECT_EQ(log, Log{"+A"});
  }
  EXPECT_EQ(log, (Log{"+A", "-A", "-A"}));
}

TEST_F(Handle, AssigningToItselfOrTheSameObjectChangesNoCount) {
  Inputs handle(&a, true);
  const Inputs& itself = handle;
  handle = itself;
  EXPECT_EQ(handle.get(), &a);
  const Inputs other(&a, true);
  handle = other;
  EXPECT_EQ(handle.get(), &a);
  EXPECT_EQ(log, Log());
}

TEST_F(Handle, AssigningToAnEmptyOneAddsOne) {
  const Inputs full(&a, true);
  Inputs empty;
  empty = full;
  EXPECT_EQ(full.get(), &a);
  EXPECT_EQ(empty.get(), &a);
  EXPECT_EQ(log, Log{"+A"});
}

TEST_F(Handle, AssigningAnotherReleasesTheOldBeforeItCountsTheNew) {
  Inputs handle(&a, true);
  const Inputs other(&b, true);
  handle = other;
  EXPECT_EQ(log, (Log{"-A", "+B"}));
}

TEST_F(Handle, AssigningAnEmptyOneReleases) {
  Inputs handle(&a, true);
  handle = Inputs();
  EXPECT_FALSE(handle);
  EXPECT_EQ(log, Log{"-A"});
}

TEST_F(Handle, AssigningAPointerTakesTheCallersReferenceOver) {
  Inputs handle;
  handle = &a;
  EXPECT_EQ(handle.get(), &a);
  EXPECT_EQ(log, Log());
}

TEST_F(Handle, AssigningNullReleasesOnceAndThenNothing) {
  Inputs handle(&a, true);
  handle = nullptr;
  EXPECT_FALSE(handle);
  handle = nullptr;
  EXPECT_FALSE(handle);
  EXPECT_EQ(log, Log{"-A"});
}

TEST_F(Handle, ResetToTheHeldObjectDoesNothingEvenWithAttach) {
  Inputs handle(&a, true);
  handle.reset(&a, true);
  handle.reset(&a, false);
  EXPECT_EQ(handle.get(), &a);
  EXPECT_EQ(log, Log());
}

TEST_F(Handle, ResetWithAttachOnlyReleasesTheOld) {
  Inputs handle(&a, true);
  handle.reset(&b, true);
  EXPECT_EQ(handle.get(), &b);
  EXPECT_EQ(log, Log{"-A"});
}

TEST_F(Handle, GetAndArrowAndTestLeaveTheCount) {
  const Inputs handle(&a, true);
  EXPECT_TRUE(handle);
  EXPECT_EQ(handle.get(), &a);
  EXPECT_TRUE(handle->isValid());
  EXPECT_EQ(log, Log());
}

TEST_F(Handle, SurvivesACollectionThatMovesIt) {
  {
    std::vector<Inputs> handles;
    handles.emplace_back(&a, true);
    for (int i = 1; i < 100; ++i) handles.push_back(handles.front());
    EXPECT_EQ(a.count, 100);
    handles.erase(handles.begin(), handles.begin() + 50);
    EXPECT_EQ(a.count, 50);
    std::swap(handles.front(), handles.back());
    EXPECT_EQ(a.count, 50);
  }
  EXPECT_EQ(a.count, 0);
}

TEST_F(Handle, NeedsNoDefinitionOfItsClass) {
  const auto* const declared =
      static_cast<Declared*>(static_cast<void*>(static_cast<core::Base*>(&a)));
  {
    const core::Ptr<Declared> handle(declared, false);
    const core::Ptr<Declared> copy(handle);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_TRUE(copy);
  }
  EXPECT_EQ(log, (Log{"+A", "+A", "-A", "-A"}));
}

TEST_F(Handle, CountsThroughTheObjectsOwnOperations) {
  void* const untyped = static_cast<core::CommandInputs*>(&a);
  core::IncompleteType::addref<core::CommandInputs>(untyped);
  core::IncompleteType::release<core::CommandInputs>(untyped);
  EXPECT_EQ(log, (Log{"+A", "-A"}));
}

TEST_F(Handle, ArrowOnAnEmptyOneEndsTheProcessWithTheAssertion) {
  const Inputs handle;
  EXPECT_EXIT(handle->isValid(), testing::KilledBySignal(SIGABRT), emptyHandleAssertion);
}

namespace {
class ThrowingRelease : public FakeInputs {
 public:
  void release() const override { throw std::runtime_error("release"); }
};
}  // namespace

TEST_F(Handle, AnExceptionInTheDestructorEndsTheProcess) {
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

TEST(HostString, IsCopiedAndHandedBackOnce) {
  for (std::string string : {"P\xC5\x99\xC3\xADklad", ""}) {
    handedBack().clear();
    FakeMessage message;
    message.string = string.data();
    EXPECT_EQ(message.data(), string);
    EXPECT_EQ(handedBack(), std::vector<char*>{string.data()});
  }
}

TEST(HostString, NullIsAnEmptyStringAndNothingIsHandedBack) {
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
