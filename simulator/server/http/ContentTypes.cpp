#include "simulator/server/http/ContentTypes.h"

#include <utility>
#include <vector>

#include "device/imaging/codecs/Codecs.h"
#include "device/media/base/MovieFormats.h"

namespace vecamera::simulator {
namespace {

using ContentType = std::pair<std::string_view, std::string_view>;

/// What pages are made of, beside the pictures and movies that the device takes.
constexpr ContentType pageTypes[] = {
    {"html", "text/html; charset=utf-8"},
    {"htm", "text/html; charset=utf-8"},
    {"js", "text/javascript; charset=utf-8"},
    {"mjs", "text/javascript; charset=utf-8"},
    {"css", "text/css; charset=utf-8"},
    {"json", "application/json"},
    {"map", "application/json"},
    {"webmanifest", "application/manifest+json"},
    {"txt", "text/plain; charset=utf-8"},
    {"md", "text/plain; charset=utf-8"},
    {"xml", "application/xml"},
    {"svg", "image/svg+xml"},
    {"jpeg", "image/jpeg"},
    {"gif", "image/gif"},
    {"avif", "image/avif"},
    {"ico", "image/x-icon"},
    {"woff", "font/woff"},
    {"woff2", "font/woff2"},
    {"ttf", "font/ttf"},
    {"otf", "font/otf"},
    {"mp3", "audio/mpeg"},
    {"wav", "audio/wav"},
    {"pdf", "application/pdf"},
    {"wasm", "application/wasm"},
};

/// Extensions with their media types.
const std::vector<ContentType>& contentTypes() {
  static const auto all = [] {
    std::vector<ContentType> types;
    for (const auto& format : device::imaging::pictureFormats())
      types.emplace_back(format.fileExtension, format.mediaType);
    for (const auto& format : device::media::movieFormats)
      types.emplace_back(format.fileExtension, format.mediaType);
    types.insert(types.end(), std::begin(pageTypes), std::end(pageTypes));
    return types;
  }();
  return all;
}

}  // namespace

std::string extensionOf(std::string_view fileName) {
  const auto dot = fileName.rfind('.');
  if (dot == std::string_view::npos || fileName.size() - dot > 16) return {};
  std::string extension;
  for (const char c : fileName.substr(dot + 1)) {
    const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!isLetter && !(c >= '0' && c <= '9')) return {};
    extension += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return extension;
}

std::string_view contentTypeOf(std::string_view fileName) {
  const auto extension = extensionOf(fileName);
  for (const auto& [known, type] : contentTypes())
    if (known == extension) return type;
  return "application/octet-stream";
}

std::string extensionOfType(std::string_view mediaType) {
  const auto type = mediaType.substr(0, mediaType.find(';'));
  for (const auto& [extension, known] : contentTypes())
    if (known == type) return std::string(extension);
  return "bin";
}

}  // namespace vecamera::simulator
