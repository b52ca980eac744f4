#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "device/foundation/files/Descriptor.h"

/// Which files and folders are in use, so that those of a writer that died can be removed.
///
/// A writer holds the lock of a file: of the one that it writes, or of one that stands for a folder
/// of its own. The system drops the lock where the process ends, however it ends. So what is not
/// locked was left behind; process numbers and times play no part. An unnamed file (O_TMPFILE) that
/// is linked in when it is complete would need no lock. But not every file system has it, and the
/// libraries that write movies open their output by its name.
///
/// Where a file system has no locks, nothing is removed. Any thread, any number of processes.
namespace vecamera::device::foundation {

/// Makes the file, of mode 0600, and takes its lock, which goes with the descriptor. The error is
/// `EEXIST` where the name is taken, and `ESTALE` where somebody removed the new file before its
/// lock was taken; the caller tries again.
FileResult<Descriptor> createLocked(const std::filesystem::path& file);

/// Removes the folder's entries that the condition holds for, with all they hold, but those whose
/// lock somebody holds. The lock is that of the entry, or that of the file of the name `lockFile`
/// in it; an empty folder needs none to be removed. What cannot be removed stays, and so does what
/// has no such file.
void removeAbandoned(const std::filesystem::path& folder,
                     const std::function<bool(const std::string& name)>& condition,
                     std::string_view lockFile = {});

/// A file that gets its name when it is complete. Until then it is locked and has a hidden name in
/// the same folder; one that is never moved is removed. Used by one thread at a time.
class PartialFile {
 public:
  static FileResult<PartialFile> createBeside(const std::filesystem::path& target);
  PartialFile(PartialFile&& other) noexcept;
  PartialFile& operator=(PartialFile&&) = delete;
  ~PartialFile();

  /// Open for writing.
  const Descriptor& descriptor() const { return descriptor_; }
  const std::filesystem::path& path() const { return path_; }

  enum class IfTaken { replace, fail };
  /// Gives the file its name, in the folder that it was made in. Nobody sees half of it there. A
  /// link of that name is replaced, not followed.
  FileResult<void> moveTo(const std::filesystem::path& target, IfTaken ifTaken = IfTaken::replace);

 private:
  PartialFile(Descriptor descriptor, std::filesystem::path path);

  Descriptor descriptor_;
  /// Empty when it has moved.
  std::filesystem::path path_;
};

/// Removes the partial files of the folder whose writers have ended.
void removeAbandonedFiles(const std::filesystem::path& folder);

}  // namespace vecamera::device::foundation
