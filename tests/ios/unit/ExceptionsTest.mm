#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace vecamera::ios {
namespace {

void raise() {
  [[NSArray array] objectAtIndex:3];
}

TEST(ExceptionsTest, AnExceptionOfThePlatformIsCaughtByItsClassAndCleansUpOnItsWay) {
  const auto owner = std::make_shared<int>(1);
  std::string name;
  @autoreleasepool {
    @try {
      @try {
        const auto copy = owner;
        EXPECT_EQ(owner.use_count(), 2);
        raise();
      } @catch (NSString* other) {
        ADD_FAILURE() << other.UTF8String;
      }
    } @catch (NSException* exception) {
      name = exception.name.UTF8String;
      EXPECT_GT(exception.reason.length, 0u);
    }
  }
  EXPECT_EQ(name, "NSRangeException");
  EXPECT_EQ(owner.use_count(), 1);
}

TEST(ExceptionsTest, AHandlerOfAnyObjectCatchesWhatIsThrown) {
  @autoreleasepool {
    id caught = nil;
    @try {
      @throw [NSException exceptionWithName:NSInvalidArgumentException reason:nil userInfo:nil];
    } @catch (id object) {
      caught = object;
    }
    EXPECT_TRUE([[caught name] isEqual:NSInvalidArgumentException]);
  }
}

TEST(ExceptionsTest, EachLanguagesHandlersLeaveTheOthersExceptions) {
  @autoreleasepool {
    std::string caught;
    try {
      @try {
        throw std::runtime_error("C++");
      } @catch (NSException* exception) {
        ADD_FAILURE() << exception.name.UTF8String;
      }
    } catch (const std::exception& error) {
      caught = error.what();
    }
    EXPECT_EQ(caught, "C++");
    caught.clear();
    @try {
      try {
        raise();
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
    } @catch (...) {
      caught = "everything";
    }
    EXPECT_EQ(caught, "everything");
  }
}

}  // namespace
}  // namespace vecamera::ios
