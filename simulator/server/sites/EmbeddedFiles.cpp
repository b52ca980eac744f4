#include "simulator/server/sites/EmbeddedFiles.h"

#include <cstdint>

namespace vecamera::simulator {

const EmbeddedFile* findEmbedded(std::string_view name) {
  for (const auto& file : embeddedFiles())
    if (file.name == name) return &file;
  return nullptr;
}

std::string entityTag(std::string_view contents) {
  // FNV-1a, which is enough to tell one build's file from the next one's.
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : contents) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  return "\"" + std::to_string(hash) + "\"";
}

}  // namespace vecamera::simulator
