#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>

namespace vecamera::simulator {

/// Where the recordings of the sessions are kept: "flow.json" for the first one, then
/// "flow-2.json". Immutable; any thread.
class RecordingFiles {
 public:
  /// Nothing: nowhere. The folder of the first one exists; partial files of writers that died are
  /// removed from it.
  explicit RecordingFiles(std::optional<std::filesystem::path> first = std::nullopt);

  /// That of the session of that number, counted from 1.
  std::optional<std::filesystem::path> ofSession(std::size_t number) const;
  /// Whether the path, however it is written, is that of a session's recording.
  bool has(const std::filesystem::path& path) const;

 private:
  std::optional<std::filesystem::path> first_;
  /// As the system knows it.
  std::filesystem::path folder_;
};

}  // namespace vecamera::simulator
