#include "VECamera/runtime/Task.h"

#include <unwind.h>

#include "tests/module/runtime/RuntimeTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;

class TaskTest : public RuntimeTest {};

Task<int> counted(int turns) {
  int sum = 0;
  for (int i = 0; i < turns; ++i) sum += co_await number(1);
  co_return sum;
}

// Transfers use no stack where the compiler makes tail calls of them: always for one compiler, in
// release builds without sanitizers for the other. There the chain is longer than any stack.
#if defined(__clang__) || \
    (defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__))
constexpr int links = 100'000;
#else
constexpr int links = 1'000;
#endif

TEST_F(TaskTest, AChainOrALoopOfManyTasksGivesItsValueWithoutStack) {
  tasks.start(main, keep(seen, nested(links)));
  tasks.start(main, keep(seen, counted(links)));
  EXPECT_EQ(main.runAll(), 2u);
  EXPECT_THAT(seen, ElementsAre(links, links));
  EXPECT_EQ(tasks.liveCount(), 0u);
}

TEST_F(TaskTest, ATaskThatIsNeverAwaitedRunsNothingAndFreesItsFrame) {
  {
    auto dropped = keep(seen, number(1));
    auto moved = std::move(dropped);
    moved = keep(seen, number(2));
    EXPECT_EQ(Sentinel::live, 2) << "assigning frees the earlier frames";
  }
  EXPECT_EQ(Sentinel::live, 0);
  EXPECT_TRUE(seen.empty());
}

TEST_F(TaskTest, ATaskStartsOnItsExecutorAndResumesOnTheOneThatItNames) {
  tasks.start(main, visit(seen, main, background));
  EXPECT_TRUE(seen.empty());
  main.runAll();
  EXPECT_THAT(seen, ElementsAre(1));
  background.runAll();
  EXPECT_THAT(seen, ElementsAre(1, 2));
  EXPECT_EQ(tasks.liveCount(), 1u);
  main.runAll();
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
  EXPECT_EQ(tasks.liveCount(), 0u);
}

TEST_F(TaskTest, AnErrorPassesAllAwaitersToTheSinkAndEndsOnlyItsOwnTask) {
  tasks.start(main, keep(seen, failing(5)));
  tasks.start(main, keep(seen, number(7)));
  main.runAll();
  EXPECT_THAT(errors, ElementsAre("bottom"));
  EXPECT_THAT(seen, ElementsAre(7));
  EXPECT_EQ(Sentinel::live, 0);
}

Task<int> throwingForeign(Sentinel = {}) {
  static _Unwind_Exception foreign{};
  _Unwind_RaiseException(&foreign);
  co_return 0;
}

TEST_F(TaskTest, AnExceptionOfAnotherLanguageIsAnErrorToo) {
  tasks.start(main, keep(seen, throwingForeign()));
  main.runAll();
  EXPECT_THAT(errors, ElementsAre("an exception of an unknown kind"));
  EXPECT_THAT(seen, testing::IsEmpty());
}

}  // namespace
}  // namespace vecamera
