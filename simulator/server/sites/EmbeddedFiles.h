#pragma once

#include <span>
#include <string>
#include <string_view>

#include "simulator/server/http/Http.h"

namespace vecamera::simulator {

/// A file that was built into the program.
struct EmbeddedFile {
  /// Its path with "/" between the parts: "web/index.html", "page/vecamera.js".
  std::string_view name;
  std::string_view contents;
};

/// All of them. None where the page's side was not built. Any thread.
std::span<const EmbeddedFile> embeddedFiles();

/// The file of that path in the folder, by default its "index.html". Null where there is none.
const EmbeddedFile* findEmbedded(std::string folder, std::span<const std::string> names);

/// The file with its content type and an entity tag. `cacheControl` is that field's value.
Response embeddedResponse(const EmbeddedFile& file, std::string_view cacheControl);

}  // namespace vecamera::simulator
