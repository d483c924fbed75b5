// The handle's counting rules and host strings, on objects that only count.
#include <Core/CoreAll.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/System.h"

namespace core = adsk::core;

namespace {

// What the host's library would keep: the strings that were freed.
std::vector<char*> handedBack;

// How counts changed, in their order: +A -A.
std::string log;

// Counts, and is never deleted by a count.
template <class Interface>
class Fake : public Interface {
 public:
  explicit Fake(char newName = 'X') : name(newName) {}
  void addref() const override { log += std::string(" +") + name; }
  void release() const override { log += std::string(" -") + name; }
  void* queryInterface(const char* id) const override {
    ++queries;
    return std::strcmp(id, core::CommandControl::classType()) == 0 ? queried : nullptr;
  }
  bool isValid_raw() const override { return true; }

  const char name;
  mutable int queries = 0;
  core::CommandControl* queried = nullptr;
};

template <class Interface>
class FakeControl : public Fake<Interface> {
 public:
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
  handedBack.push_back(string);
}
const char* core::CommandControl::classType() {
  return "CommandControl for a test";
}

static_assert(sizeof(Inputs) == sizeof(void*));
static_assert(std::is_same_v<Inputs, core::Ptr<core::CommandInputs, core::IncompleteType>>);
static_assert(std::is_nothrow_destructible_v<Inputs>);

namespace {

// Two objects, with the caller's reference to each.
class Handle : public testing::Test {
 protected:
  Handle() {
    log.clear();
    handedBack.clear();
  }

  // How the counts changed since this was last asked.
  static std::string counted() { return std::exchange(log, ""); }

  Fake<core::CommandInputs> a{'A'};
  Fake<core::CommandInputs> b{'B'};
};

class HandleConversion : public Handle {};
class HostString : public Handle {};

}  // namespace

TEST_F(Handle, StartsEmptyAndIsCopiedEmpty) {
  const Inputs handle;
  EXPECT_FALSE(handle);
  EXPECT_EQ(handle.get(), nullptr);
  EXPECT_FALSE(Inputs(handle));
  EXPECT_FALSE(Inputs(nullptr, true));
  EXPECT_FALSE(Inputs(nullptr, false));
}

TEST_F(Handle, AttachTakesTheCallersReferenceOverElseOneIsAdded) {
  {
    const Inputs handle(&a, true);
    EXPECT_TRUE(handle);
    EXPECT_EQ(handle.get(), &a);
    EXPECT_TRUE(handle->isValid());
    EXPECT_EQ(counted(), "");
  }
  EXPECT_EQ(counted(), " -A");
  { const Inputs handle(&a, false); }
  EXPECT_EQ(counted(), " +A -A");
}

TEST_F(Handle, CopyAndAssignmentAddOneAfterTheOldOneIsReleased) {
  const Inputs held(&a, true);
  {
    const Inputs copy(held);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.get(), &a);
    EXPECT_EQ(counted(), " +A");
  }
  EXPECT_EQ(counted(), " -A");
  Inputs handle;
  handle = held;
  EXPECT_EQ(handle.get(), &a);
  EXPECT_EQ(counted(), " +A");
  const Inputs other(&b, true);
  handle = other;
  EXPECT_EQ(handle.get(), &b);
  EXPECT_EQ(counted(), " -A +B");
  handle = Inputs();
  EXPECT_FALSE(handle);
  EXPECT_EQ(counted(), " -B");
}

TEST_F(Handle, TheObjectThatItHoldsChangesNoCount) {
  Inputs handle(&a, true);
  const Inputs& itself = handle;
  handle = itself;
  const Inputs other(&a, true);
  handle = other;
  handle.reset(&a, true);
  handle.reset(&a, false);
  EXPECT_EQ(handle.get(), &a);
  EXPECT_EQ(counted(), "");
}

TEST_F(Handle, TakesAPointersReferenceOver) {
  Inputs handle;
  handle = &a;
  EXPECT_EQ(handle.get(), &a);
  EXPECT_EQ(counted(), "");
  handle.reset(&b, true);
  EXPECT_EQ(handle.get(), &b);
  EXPECT_EQ(counted(), " -A");
  handle = nullptr;
  EXPECT_FALSE(handle);
  EXPECT_EQ(counted(), " -B");
  handle = nullptr;
  EXPECT_EQ(counted(), "");
}

TEST_F(Handle, NeedsNoDefinitionOfItsClass) {
  const auto* const declared =
      static_cast<Declared*>(static_cast<void*>(static_cast<core::Base*>(&a)));
  {
    const core::Ptr<Declared> handle(declared, false);
    const core::Ptr<Declared> copy(handle);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_TRUE(copy);
  }
  EXPECT_EQ(counted(), " +A +A -A -A");
}

TEST_F(Handle, ArrowOnAnEmptyOneEndsTheProcessWithTheAssertion) {
  const Inputs handle;
  EXPECT_EXIT(handle->isValid(), testing::KilledBySignal(SIGABRT), emptyHandleAssertion);
}

namespace {
class ThrowingRelease : public Fake<core::CommandInputs> {
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

TEST_F(HandleConversion, EmptyOrOfAnotherKindGivesAnEmptyHandle) {
  EXPECT_FALSE(core::Ptr<core::CommandControl>(core::Ptr<core::ToolbarControl>()));
  FakeControl<core::ToolbarControl> object;
  const core::Ptr<core::ToolbarControl> control(&object, true);
  EXPECT_FALSE(core::Ptr<core::CommandControl>(control));
  EXPECT_EQ(object.queries, 1);
  EXPECT_EQ(counted(), "");
}

TEST_F(HandleConversion, SameKindAddsAReference) {
  FakeControl<core::CommandControl> object;
  object.queried = &object;
  {
    const core::Ptr<core::ToolbarControl> control(&object, true);
    const core::Ptr<core::CommandControl> command(control);
    EXPECT_EQ(command.get(), &object);
    EXPECT_EQ(object.queries, 1);
    EXPECT_EQ(counted(), " +X");
  }
  EXPECT_EQ(counted(), " -X -X");
}

TEST_F(HostString, IsCopiedAndFreedOnce) {
  for (std::string string : {"P\xC5\x99\xC3\xADklad", ""}) {
    handedBack.clear();
    FakeMessage message;
    message.string = string.data();
    EXPECT_EQ(message.data(), string);
    EXPECT_EQ(handedBack, std::vector<char*>{string.data()});
  }
}

TEST_F(HostString, NullIsAnEmptyStringAndNothingIsFreed) {
  const FakeMessage message;
  EXPECT_EQ(message.data(), "");
  EXPECT_TRUE(handedBack.empty());
}
