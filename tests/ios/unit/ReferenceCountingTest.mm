#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#import "Layout.h"
#include "tests/ios/runtime/LivingObjects.h"

// Runs a function when it is destroyed.
@interface Watched : NSObject {
 @public
  std::function<void()> onDealloc;
}
@property(nonatomic, weak) Watched* itself;
@property(atomic, strong) NSObject* atomicObject;
@property(nonatomic, strong) NSObject* object;
@property(atomic, copy) NSString* atomicText;
@property(nonatomic, copy) NSString* text;
@property(nonatomic, copy) int (^block)(void);
@end
@implementation Watched
- (void)dealloc {
  if (onDealloc) onDealloc();
}
@end

namespace vecamera::ios {
namespace {

class ReferenceCountingTest : public testing::Test {
 protected:
  void SetUp() override { countLivingObjects(); }
  // Objects of a test are gone with its pool.
  void TearDown() override {
    EXPECT_EQ(livingObjects("Watched"), 0u);
    EXPECT_EQ(livingObjects("LayoutDerived"), 0u);
  }
};

TEST_F(ReferenceCountingTest, AnObjectGoesWithItsLastReference) {
  @autoreleasepool {
    Watched* first = [[Watched alloc] init];
    Watched* second = [[Watched alloc] init];
    EXPECT_EQ(livingObjects("Watched"), 2u);
    first.object = second;
    second = nil;
    EXPECT_EQ(livingObjects("Watched"), 2u);
    first = nil;
    EXPECT_EQ(livingObjects("Watched"), 0u);
  }
}

TEST_F(ReferenceCountingTest, ACycleIsCounted) {
  @autoreleasepool {
    Watched* object = [[Watched alloc] init];
    object.object = object;
    __weak Watched* weak = object;
    object = nil;
    EXPECT_EQ(livingObjectsByClass("Watch"), (std::map<std::string, std::size_t>{{"Watched", 1}}));
    weak.object = nil;
  }
}

TEST_F(ReferenceCountingTest, WeakReferencesAreNilFromTheLastReleaseOn) {
  @autoreleasepool {
    Watched* object = [[Watched alloc] init];
    object.itself = object;
    __weak Watched* weak = object;
    std::vector<__weak Watched*> moved;
    for (int i = 0; i < 20; ++i) moved.push_back(weak);
    bool seen = true;
    object->onDealloc = [&weak, &seen] { seen = weak != nil; };
    EXPECT_EQ(moved[0], object);
    object = nil;
    EXPECT_FALSE(seen);
    EXPECT_EQ(weak, nil);
    for (__weak Watched*& reference : moved) EXPECT_EQ(reference, nil);
  }
}

TEST_F(ReferenceCountingTest, AWeakReferenceReadInAnotherThreadIsWholeOrNil) {
  for (int round = 0; round < 100; ++round) {
    @autoreleasepool {
      Watched* object = [[Watched alloc] init];
      object.text = @"whole";
      std::atomic<bool> destroyed = false;
      object->onDealloc = [&destroyed] { destroyed = true; };
      __weak Watched* weak = object;
      std::atomic<bool> started = false;
      std::thread reader([&] {
        @autoreleasepool {
          started = true;
          while (Watched* read = weak) {
            EXPECT_FALSE(destroyed);
            EXPECT_EQ(read.text.length, 5u);
          }
        }
      });
      while (!started) std::this_thread::yield();
      object = nil;
      reader.join();
    }
  }
}

TEST_F(ReferenceCountingTest, PropertiesKeepWhatTheyAreGiven) {
  @autoreleasepool {
    Watched* object = [[Watched alloc] init];
    NSMutableString* text = [[NSMutableString alloc] init];
    [text appendString:@"a"];
    object.text = text;
    object.atomicText = text;
    [text appendString:@"b"];
    EXPECT_STREQ(object.text.UTF8String, "a");
    EXPECT_STREQ(object.atomicText.UTF8String, "a");
    object.object = [[Watched alloc] init];
    object.atomicObject = [[Watched alloc] init];
    EXPECT_EQ(livingObjects("Watched"), 3u);
    object.object = nil;
    @autoreleasepool {
      object.atomicObject = object.atomicObject;
    }
    EXPECT_EQ(livingObjects("Watched"), 2u);
    const int captured = 7;
    object.block = ^{
      return captured;
    };
    EXPECT_EQ(object.block(), 7);
  }
}

TEST_F(ReferenceCountingTest, AssociatedObjectsGoWithTheirObject) {
  static const char key = 0, other = 0;
  @autoreleasepool {
    NSObject* object = [[NSObject alloc] init];
    objc_setAssociatedObject(object, &key, [[Watched alloc] init], OBJC_ASSOCIATION_RETAIN);
    objc_setAssociatedObject(object, &other, [[Watched alloc] init],
                             OBJC_ASSOCIATION_RETAIN_NONATOMIC);
    EXPECT_EQ(livingObjects("Watched"), 2u);
    objc_setAssociatedObject(object, &other, nil, OBJC_ASSOCIATION_RETAIN);
    EXPECT_EQ(livingObjects("Watched"), 1u);
    @autoreleasepool {
      EXPECT_NE(objc_getAssociatedObject(object, &key), nil);
      EXPECT_EQ(objc_getAssociatedObject(object, &other), nil);
    }
    object = nil;
    EXPECT_EQ(livingObjects("Watched"), 0u);
  }
}

TEST_F(ReferenceCountingTest, FieldsOfClassesInSeveralFilesLieApartAndAreDestroyed) {
  const auto owner = std::make_shared<int>(1);
  @autoreleasepool {
    LayoutDerived* object = [[LayoutDerived alloc] init];
    EXPECT_EQ(object->base + object->derived, "");
    object->first = 'f';
    object->base = std::string(100, 'b');
    object->derived = std::string(100, 'd');
    object->last = 42;
    Watched* held = [[Watched alloc] init];
    held->onDealloc = [owner] {};
    object.held = held;
    EXPECT_EQ(object->first, 'f');
    EXPECT_EQ(object->base, std::string(100, 'b'));
    EXPECT_EQ(object->derived, std::string(100, 'd'));
    EXPECT_EQ(object->last, 42);
    EXPECT_EQ(owner.use_count(), 2);
  }
  EXPECT_EQ(owner.use_count(), 1);
}

int (^countingBlock(Watched* captured, std::shared_ptr<int> owner))(void) {
  return ^{
    return captured ? static_cast<int>(owner.use_count()) : 0;
  };
}

TEST_F(ReferenceCountingTest, BlocksKeepWhatTheyCaptureUntilTheyGo) {
  const auto owner = std::make_shared<int>(1);
  @autoreleasepool {
    int (^block)(void) = countingBlock([[Watched alloc] init], owner);
    EXPECT_EQ(block(), 2);
    EXPECT_EQ(livingObjects("Watched"), 1u);
  }
  EXPECT_EQ(livingObjects("Watched"), 0u);
  EXPECT_EQ(owner.use_count(), 1);
}

TEST_F(ReferenceCountingTest, ABlockIsAnObjectThatACollectionKeeps) {
  const auto owner = std::make_shared<int>(1);
  @autoreleasepool {
    NSMutableArray* blocks = [NSMutableArray arrayWithCapacity:1];
    @autoreleasepool {
      [blocks addObject:countingBlock([[Watched alloc] init], owner)];
      [blocks addObject:[blocks.firstObject copy]];
    }
    int (^block)(void) = blocks.lastObject;
    EXPECT_EQ(block(), 2);
    EXPECT_EQ(owner.use_count(), 2);
  }
  EXPECT_EQ(owner.use_count(), 1);
}

TEST_F(ReferenceCountingTest, ABlockThatCapturesWeaklyKeepsNothing) {
  @autoreleasepool {
    Watched* object = [[Watched alloc] init];
    __weak Watched* weak = object;
    __block int calls = 0;
    int (^block)(void) = ^{
      ++calls;
      return weak ? 1 : 0;
    };
    object.block = block;
    EXPECT_EQ(block(), 1);
    object = nil;
    EXPECT_EQ(block(), 0);
    EXPECT_EQ(calls, 2);
  }
}

TEST_F(ReferenceCountingTest, AnInnerPoolFreesWhatWasAutoreleasedInIt) {
  @autoreleasepool {
    NSMutableArray* array = [NSMutableArray arrayWithCapacity:1];
    @autoreleasepool {
      [array addObject:[[Watched alloc] init]];
      EXPECT_NE(array.firstObject, nil);
    }
    EXPECT_EQ(livingObjects("Watched"), 1u);
    [array removeAllObjects];
    EXPECT_EQ(livingObjects("Watched"), 0u);
  }
}

}  // namespace
}  // namespace vecamera::ios
