#include "simulator/server/sites/EmbeddedFiles.h"

#include <cstdint>

#include "simulator/server/http/ContentTypes.h"

namespace vecamera::simulator {

const EmbeddedFile* findEmbedded(std::string path, std::span<const std::string> names) {
  for (const auto& name : names) path += "/" + name;
  if (names.empty()) path += "/index.html";
  for (const auto& file : embeddedFiles())
    if (file.name == path) return &file;
  return nullptr;
}

Response embeddedResponse(const EmbeddedFile& file, std::string_view cacheControl) {
  // FNV-1a, which is enough to distinguish the files of two builds.
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : file.contents) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  return {200,
          {{"Content-Type", std::string(contentTypeOf(file.name))},
           {"Cache-Control", std::string(cacheControl)},
           {"ETag", "\"" + std::to_string(hash) + "\""}},
          file.contents};
}

}  // namespace vecamera::simulator
