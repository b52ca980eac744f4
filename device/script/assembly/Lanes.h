#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

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
/// world outside, or is held, yields to the conductor in the middle of the job and is resumed
/// later, as a blocked thread of a real device would be.
class Lanes {
  struct Worker;

 public:
  class Lane : public Executor {
   public:
    void post(Job job) override;

   private:
    friend class Lanes;
    explicit Lane(Lanes& lanes) : lanes_(lanes) {}

    Lanes& lanes_;
    struct Posted {
      Job job;
      std::string purpose;
    };
    // Guarded by the lanes' mutex.
    std::deque<Posted> jobs_;
    /// Null where the lanes have stopped.
    std::unique_ptr<Worker> worker_;
  };

  /// Starts.
  Lanes();
  /// Unwinds the lanes that wait in the middle of a job, and drops what has not run.
  ~Lanes() { stop(); }

  Lane& main() { return *lanes_[0]; }
  Lane& background() { return *lanes_[1]; }
  /// Where the platform's services run their handlers.
  Lane& platform() { return *lanes_[2]; }
  /// The container's command thread.
  Lane& command() { return *lanes_[3]; }

  /// Runs one job of the first lane (in the order above) that has one and is not in another; false
  /// where there is none. Conductor only.
  bool step();
  /// Runs the first job that this lane has. Conductor only, while the lane is in no job.
  void stepOnly(Lane& lane) { resume(*lane.worker_); }
  /// Lets every waiting lane poll again, and those go on that are held no more; false where none
  /// waits, or all still do. Conductor only.
  bool retryWaiting();
  /// Whether a lane is in the middle of a job and not held. Conductor only.
  bool anyWaiting() const;
  /// Whether the lane is in the middle of a job, held or not.
  bool isInJob(const Lane& lane) const;
  /// The job in which the lane is held goes on at the next `retryWaiting`. Conductor only.
  void continueHeld(Lane& lane);
  /// The job in which the lane is held never goes on: its thread stays where it is until `stop`.
  /// The lane gets another thread for its next jobs. Conductor only.
  void abandonHeld(Lane& lane);
  /// What a fatal error said, or an empty text. Conductor only.
  const std::string& fatalError() const { return fatalError_; }
  /// Keeps what a task threw. Called on a lane.
  void onException(std::exception_ptr thrown);

  /// What the job at hand is done for, a name of the conductor's choice; off the lanes, the
  /// conductor's. A job takes it over from the job, or the conductor, that posted it: it stays with
  /// work that goes on from lane to lane.
  std::string purpose() const;
  /// The conductor's, from now on. Conductor only.
  void setPurpose(std::string purpose);

  /// Called on a lane in the middle of a job: yields until the conductor resumes the lane. Does
  /// nothing on another thread. Throws when the lanes end, to unwind the job.
  void yieldWaiting();
  /// Called on a lane of this object in the middle of a job: yields until `continueHeld`. Throws
  /// when the lanes end, to unwind the job.
  void yieldHeld();
  /// The lane of this object that calls; null on another thread.
  Lane* caller();
  /// The lane that calls, of any object; null on another thread.
  static const Executor* current();
  /// Unwinds and stops the lanes; nothing runs until `start`. Conductor only.
  void stop();
  /// New threads for lanes that have stopped. Conductor only.
  void start();

 private:
  struct Unwinding {};

  /// A thread of a lane.
  struct Worker {
    explicit Worker(Lane& of) : lane(of) {}

    Lane& lane;
    // Guarded by the lanes' mutex.
    /// Of the latest job.
    std::string purpose;
    bool inJob = false;
    bool isHeld = false;
    /// It was held and has not run since. The conductor's.
    bool isContinued = false;
    std::thread thread;
  };

  /// With the mutex held.
  const std::string& lockedPurpose() const;
  std::unique_ptr<Worker> makeWorker(Lane& lane);
  bool isWaiting(const Lane& lane) const;
  void resume(Worker& worker);
  void handBack(Worker& worker, std::unique_lock<std::mutex>& lock);
  void work(Worker& worker);

  /// Of the thread that calls; null on one that is no lane's.
  static thread_local Worker* current_;

  std::unique_ptr<Lane> lanes_[4];
  std::vector<std::unique_ptr<Worker>> abandoned_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  /// What runs; null: the conductor.
  Worker* running_ = nullptr;
  bool stopping_ = false;
  std::string fatalError_;
  /// The conductor's.
  std::string purpose_;
};

}  // namespace vecamera::device::script
