#pragma once

#include <span>
#include <string>
#include <string_view>

namespace vecamera::simulator {

/// A file that was built into the program.
struct EmbeddedFile {
  /// Its path with "/" between the parts: "web/index.html", "page/vecamera.js".
  std::string_view name;
  std::string_view contents;
};

/// All of them. None where the page's side was not built. Any thread.
std::span<const EmbeddedFile> embeddedFiles();

const EmbeddedFile* findEmbedded(std::string_view name);

/// A text that changes with the contents, in quotation marks.
std::string entityTag(std::string_view contents);

}  // namespace vecamera::simulator
