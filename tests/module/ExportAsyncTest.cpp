#include "VECamera/platform/AVFoundation.h"
#include "tests/module/FakePlatform.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Status = AVAssetExportSessionStatus;

Task<void> exported(std::shared_ptr<AVAssetExportSession> session, Executor& resumed, Lines& out) {
  std::string line = "completed";
  try {
    co_await exportAsync(session, resumed);
  } catch (const NSErrorException& thrown) {
    line = thrown.error().domain + " " + std::to_string(thrown.error().code);
  }
  out.add(line);
}

TEST(AVAssetExportSessionTest, TheWaiterResumesOnceWhenTheHandlerHasRunAndNeverInline) {
  const struct {
    Status status;
    std::optional<NSError> error;
    std::string given;
  } rows[] = {{Status::completed, {}, "completed"},
              {Status::completed, errorSaying("of before"), "completed"},
              {Status::failed, errorSaying("no codec"), "Fake 7"},
              {Status::failed, {}, "AVFoundationErrorDomain -11800"},
              {Status::cancelled, {}, "AVFoundationErrorDomain -11878"},
              {Status::unknown, {}, "AVFoundationErrorDomain -11800"}};
  for (const auto& row : rows) {
    FakePlatform fake;
    Lines out;
    const auto session = std::make_shared<FakeExportSession>();
    fake.tasks.start(fake.mainQueue, exported(session, fake.background, out));
    fake.settle();
    EXPECT_THAT(out.all(), IsEmpty());
    session->end(row.status, row.error);
    EXPECT_THAT(out.all(), IsEmpty()) << "the handler resumes nothing inline";
    fake.settle();
    EXPECT_THAT(out.all(), ElementsAre(row.given));
  }
}

TEST(AVAssetExportSessionTest, AHandlerThatComesAfterTheTeardownFindsNobody) {
  Lines out;
  const auto session = std::make_shared<FakeExportSession>();
  {
    FakePlatform fake;
    fake.tasks.start(fake.mainQueue, exported(session, fake.background, out));
    fake.settle();
    fake.tasks.join();
    session->end(Status::completed);
  }
  EXPECT_THAT(out.all(), IsEmpty());
}

}  // namespace
}  // namespace vecamera
