// The handle as it is where assertions are compiled out.
#include <Core/CoreAll.h>
#include <gtest/gtest.h>

#include <exception>
#include <typeinfo>

TEST(Handle, ArrowOnAnEmptyOneThrowsAPlainException) {
  const adsk::core::Ptr<adsk::core::CommandInputs> handle;
  try {
    handle->isValid();
    FAIL() << "nothing was thrown";
  } catch (const std::exception& exception) {
    EXPECT_EQ(typeid(exception), typeid(std::exception));
  }
}
