#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "device/foundation/files/Descriptor.h"

/// Folders and what they hold. Any thread.
namespace vecamera::device::foundation {

/// The folder's entries without "." and "..", sorted by their bytes.
FileResult<std::vector<std::string>> entryNames(const Descriptor& folder);

/// Whether the folder is `ancestor` or lies below it, by the identity of the folders, not their
/// paths.
bool isWithin(const Descriptor& folder, const Descriptor& ancestor);

/// Removes the file, link or folder with all it holds; of what the folder itself holds, the entry
/// `last` goes last. Stops at the first thing that cannot be removed.
FileResult<void> removeTreeAt(const Descriptor& folder, const std::string& name,
                              std::string_view last = {});

/// Makes the folder, with those above it, where it is missing; new folders have mode 0700, and
/// their names survive a loss of power.
FileResult<void> makePrivateFolder(const std::filesystem::path& folder);

/// Makes a folder in an open one, with all rights for the owner, also those that the process takes
/// from a new mode. Fails with EEXIST where the name is there.
FileResult<void> makePrivateFolderAt(int parent, const std::filesystem::path& name);

/// Whether the existing folder holds, or is, the system's temporary directory or the user's home:
/// one that an application must not be given to empty.
bool isSharedFolder(const std::filesystem::path& path);

/// Makes the names in the folder survive a loss of power.
FileResult<void> synchronizeFolder(const std::filesystem::path& folder);

}  // namespace vecamera::device::foundation
