#include "VECamera/runtime/Continuation.h"

#include <thread>

#include "tests/module/runtime/RuntimeTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;

class ContinuationTest : public RuntimeTest {};

TEST_F(ContinuationTest, AContinuationResumesItsWaiterOnTheNamedExecutorAndNeverInline) {
  enum class Resumed { value, error, nullError, insideStart, fromAnotherThread };
  for (const Resumed how : {Resumed::value, Resumed::error, Resumed::nullError,
                            Resumed::insideStart, Resumed::fromAnotherThread}) {
    seen.clear();
    errors.clear();
    std::optional<Continuation<int>> waiter;
    tasks.start(main, wait(seen, waiter, background, how == Resumed::insideStart));
    main.runAll();
    ASSERT_TRUE(waiter);
    EXPECT_EQ(background.pending(), how == Resumed::insideStart ? 1u : 0u);
    if (how == Resumed::value) waiter->resume(5);
    if (how == Resumed::error)
      waiter->resumeThrowing(std::make_exception_ptr(std::runtime_error("refused")));
    if (how == Resumed::nullError) waiter->resumeThrowing(nullptr);
    if (how == Resumed::fromAnotherThread) std::thread([&] { waiter->resume(5); }).join();
    EXPECT_TRUE(seen.empty() && errors.empty()) << "not before the executor runs";
    EXPECT_EQ(background.runAll(), 1u);
    EXPECT_EQ(seen.size() + errors.size(), 1u);
    EXPECT_EQ(errors.size(), how == Resumed::error || how == Resumed::nullError ? 1u : 0u);
  }
}

TEST_F(ContinuationTest, ASecondResumptionIsLoggedUnderTheOperationsNameAndDropped) {
  std::optional<Continuation<int>> waiter;
  tasks.start(main, wait(seen, waiter, main));
  main.runAll();
  waiter->resume(1);
  EXPECT_DEBUG_DEATH(waiter->resume(2), "waiting for a number");
  main.runAll();
  EXPECT_DEBUG_DEATH(waiter->resume(3), "waiting for a number");
  main.runAll();
  EXPECT_THAT(seen, ElementsAre(1));
}

}  // namespace
}  // namespace vecamera
