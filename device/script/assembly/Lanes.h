#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "VECamera/runtime/Executor.h"

namespace vecamera::device::script {

/// What `NSProcess::fatalError` throws on a scripted device, in place of ending the process.
class FatalError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The threads of a device in lock step. A *lane* is one of them: a thread with a queue of jobs. At
/// every moment either the *conductor* (the thread that made the object) or one lane runs, so that
/// the same jobs run in the same order on every machine. A lane whose job polls for a change of the
/// world outside yields to the conductor in the middle of the job and is resumed later, as a
/// blocked thread of a real device would be.
class Lanes {
 public:
  class Lane : public Executor {
   public:
    void post(Job job) override;

   private:
    friend class Lanes;
    explicit Lane(Lanes& lanes) : lanes_(lanes) {}

    Lanes& lanes_;
    // Guarded by the lanes' mutex.
    std::deque<Job> jobs_;
    bool inJob_ = false;
    std::thread thread_;
  };

  Lanes();
  /// Unwinds the lanes that wait in the middle of a job, and drops what has not run.
  ~Lanes() { stop(); }

  Lane& main() { return *lanes_[0]; }
  Lane& background() { return *lanes_[1]; }
  /// Where the platform's services run their handlers.
  Lane& platform() { return *lanes_[2]; }
  /// The container's command thread.
  Lane& command() { return *lanes_[3]; }

  /// Runs one job of the first lane (in the order above) that has one and is not waiting; false
  /// where there is none. Conductor only.
  bool step();
  /// Runs the first job that this lane has. Conductor only, while the lane is not waiting.
  void stepOnly(Lane& lane) { resume(lane); }
  /// Lets every waiting lane poll again; false where none waits, or all still do. Conductor only.
  bool retryWaiting();
  /// Whether a lane is in the middle of a job. Conductor only.
  bool anyWaiting() const;
  bool isWaiting(const Lane& lane) const;
  /// What a fatal error said, or an empty text. Conductor only.
  const std::string& fatalError() const { return fatalError_; }
  /// Keeps what a task threw. Called on a lane.
  void onException(std::exception_ptr thrown);

  /// Called on a lane in the middle of a job: yields until the conductor resumes the lane. Does
  /// nothing on another thread. Throws when the lanes end, to unwind the job.
  void yieldWaiting();
  /// The lane that calls, of any object; null on another thread.
  static const Executor* current();
  /// Unwinds and stops the lanes; nothing runs afterwards. Conductor only.
  void stop();

 private:
  struct Unwinding {};

  void resume(Lane& lane);
  void work(Lane& lane);

  std::unique_ptr<Lane> lanes_[4];
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  /// The lane that runs; null: the conductor.
  Lane* running_ = nullptr;
  bool stopping_ = false;
  std::string fatalError_;
};

}  // namespace vecamera::device::script
