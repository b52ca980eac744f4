#include "device/script/play/EventMedia.h"

#include <cmath>

#include "device/media/MediaFacts.h"
#include "device/script/play/AnsweredContent.h"

namespace vecamera::device::script {
namespace {

Json toJson(const media::MediaFacts& facts) {
  const bool isPhoto = facts.kind == media::MediaFacts::Kind::photo;
  Json json{{"kind", isPhoto ? "photo" : "movie"},
            {"format", facts.format},
            {"width", facts.width},
            {"height", facts.height},
            {"orientation", facts.orientation},
            {"bytes", facts.byteCount}};
  // Whole milliseconds.
  if (facts.durationSeconds) json["duration"] = std::round(*facts.durationSeconds * 1000) / 1000;
  json["sha256"] = facts.sha256;
  json["perceptualHash"] = imaging::toText(facts.perceptualHash);
  return json;
}

std::optional<Json> ofContent(const AnsweredContent& content) {
  const auto facts =
      std::visit([](const auto& bytes) { return media::mediaFacts(bytes); }, content);
  if (!facts) return std::nullopt;
  return toJson(*facts);
}

}  // namespace

void EventMedia::onUrlTransformed(const URL& from, const URL& to) {
  untransformed_.insert_or_assign(withAmpersands(to.absoluteString()), from);
}

std::optional<Json> EventMedia::ofAnswer(const Dictionary& data) const {
  const auto* result = find(data, resultKey);
  if (!result) return std::nullopt;
  const auto* text = result->url() ? &result->url()->absoluteString() : result->text();
  const bool isAddress = text && !text->starts_with("data:");
  const auto asked = isAddress ? untransformed_.find(withAmpersands(*text)) : untransformed_.end();
  const auto content =
      answeredContent(asked == untransformed_.end() ? *result : Value(asked->second), library_);
  return content ? ofContent(*content) : std::nullopt;
}

std::optional<Json> EventMedia::ofAsset(std::string_view identifier) const {
  const auto file = library_.originalFile(identifier);
  return file ? ofContent(*file) : std::nullopt;
}

std::optional<Json> EventMedia::ofFile(const std::filesystem::path& file) {
  return ofContent(file);
}

}  // namespace vecamera::device::script
