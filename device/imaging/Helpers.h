#pragma once

namespace vecamera::device {

/// How many threads a picture may use where nobody says otherwise.
unsigned usualPictureThreads();

/// Counts this thread among those at work on a picture while it lives. Threads that help a picture
/// leave when as many pictures are at work as one of them may use threads, so that none waits for
/// the helpers of another.
class PictureAtWork {
 public:
  PictureAtWork();
  ~PictureAtWork();
  PictureAtWork(const PictureAtWork&) = delete;
  PictureAtWork& operator=(const PictureAtWork&) = delete;

  /// Whether there is a place for a helper beside the pictures at work. Any thread.
  static bool leavesRoom(unsigned threads);
};

}  // namespace vecamera::device
