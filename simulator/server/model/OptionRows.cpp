#include "simulator/server/model/OptionRows.h"

#include <cmath>
#include <initializer_list>
#include <sstream>
#include <utility>

#include "VECamera/options/PictureOptions.h"
#include "VECamera/platform/UIKit.h"
#include "VECamera/result/ResultRules.h"
#include "device/script/json/JsonValue.h"

namespace vecamera::simulator {
namespace {

using Position = TakePictureArguments::Position;
using Source = UIImagePickerControllerSourceType;
using Names = std::initializer_list<const char*>;

class PageArguments : public VelmoraCommand {
 public:
  explicit PageArguments(const Array& arguments) : arguments_(arguments) {}
  std::optional<Value> argument(std::size_t position) const override {
    if (position >= arguments_.size() || arguments_[position].isNull()) return std::nullopt;
    return arguments_[position];
  }

 private:
  const Array& arguments_;
};

/// The name of a case; null for an empty option.
template <class Case>
Json caseName(const std::optional<Case>& value, Names names) {
  return value ? Json(names.begin()[static_cast<std::size_t>(*value)]) : Json();
}

Json sourceName(std::int64_t source) {
  switch (source) {
    case Source::photoLibrary: return "photoLibrary";
    case Source::camera: return "camera";
    case Source::savedPhotosAlbum: return "savedPhotosAlbum";
    default: return source;
  }
}

std::string textOf(double number) {
  std::ostringstream text;
  text << number;
  return text.str();
}

/// What the argument is read as, for the row's note.
enum class Kind { wholeNumber, boolean };

class Rows {
 public:
  Rows(const PageArguments& page, Json& values) : page_(page), values_(values) {}

  void add(Position position, const char* name, Kind kind, Json value) {
    const auto argument = page_.argument(position);
    const bool isRead = argument && (kind == Kind::boolean ? argument->booleanValue().has_value()
                                                           : argument->integerValue().has_value());
    std::string note;
    if (argument && !isRead)
      note = script::toJson(*argument).dump(-1, ' ', false, Json::error_handler_t::replace) +
             (kind == Kind::boolean ? " is no boolean" : " is no whole number") +
             " and counts as not given.";
    else if (value.is_null())
      note = std::to_string(argument ? *argument->integerValue() : 0) +
             " is none of its values, so the option is empty.";
    push(std::to_string(position), name, std::move(value), isRead, note);
  }

  /// A size counts only with both sides.
  void addSize(const std::optional<CGSize>& size) {
    const bool isAnyGiven = page_.argument(Position::width) || page_.argument(Position::height);
    auto value = size ? Json{{"width", size->width}, {"height", size->height}} : Json();
    push("3, 4", "targetSize", std::move(value), size.has_value(),
         !size && isAnyGiven ? "Counts only when width and height are both given as numbers." : "");
  }

  void note(std::string_view name, const std::string& text) {
    for (auto& row : rows_)
      if (row["name"] == name) row["note"] = text;
  }
  Json take() { return std::move(rows_); }

 private:
  static std::string shown(const char* name, const Json& value) {
    if (value.is_null()) return name == std::string_view("targetSize") ? "none" : "empty";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_object())
      return textOf(value["width"].get<double>()) + " × " + textOf(value["height"].get<double>());
    return value.is_string() ? value.get<std::string>() : value.dump();
  }

  void push(std::string position, const char* name, Json value, bool isGiven,
            const std::string& note) {
    Json row{{"position", std::move(position)},
             {"name", name},
             {"value", shown(name, value)},
             {"given", isGiven}};
    if (!note.empty()) row["note"] = note;
    rows_.push_back(std::move(row));
    values_[name] = std::move(value);
  }

  const PageArguments& page_;
  Json& values_;
  Json rows_ = Json::array();
};

}  // namespace

Json optionsOf(const Array& arguments) {
  const PageArguments page(arguments);
  const auto options = PictureOptions::fromArguments(page);
  Json values = Json::object();
  Rows rows(page, values);
  rows.add(Position::quality, "quality", Kind::wholeNumber, options.quality);
  rows.add(Position::destination, "destination", Kind::wholeNumber,
           caseName(options.destinationType, {"dataUrl", "fileUrl", "nativeUrl"}));
  rows.add(Position::source, "source", Kind::wholeNumber,
           sourceName(options.sourceType.value_or(Source::camera)));
  rows.addSize(options.targetSize);
  rows.add(Position::encoding, "encoding", Kind::wholeNumber,
           caseName(options.encodingType, {"jpeg", "png"}));
  rows.add(Position::media, "media", Kind::wholeNumber,
           caseName(options.mediaType, {"picture", "video", "all"}));
  rows.add(Position::editing, "allowsEditing", Kind::boolean, options.allowsEditing);
  rows.add(Position::orientation, "correctOrientation", Kind::boolean, options.correctOrientation);
  rows.add(Position::album, "saveToPhotoAlbum", Kind::boolean, options.saveToPhotoAlbum);
  const bool isFront = options.cameraDirection == UIImagePickerControllerCameraDevice::front;
  rows.add(Position::front, "cameraDirection", Kind::boolean, isFront ? "front" : "rear");
  rows.add(Position::geolocation, "usesGeolocation", Kind::boolean, options.usesGeolocation);

  const auto asked = page.argument(Position::source);
  const auto askedSource = asked ? asked->integerValue() : std::nullopt;
  if (askedSource && askedSource != options.sourceType)
    rows.note("source", "A request for movies from the photo library opens the camera.");
  // A picture that is encoded at the best quality even where the lowest is asked for.
  auto lowest = options;
  lowest.quality = 0;
  return {{"rows", rows.take()},
          {"values", std::move(values)},
          {"quality",
           {{"value", compressionQuality(options)}, {"whole", compressionQuality(lowest) == 1.0}}}};
}

}  // namespace vecamera::simulator
