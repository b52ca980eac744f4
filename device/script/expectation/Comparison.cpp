#include "device/script/expectation/Comparison.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <utility>

#include "device/imaging/comparison/PerceptualHash.h"

namespace vecamera::device::script {
namespace {

std::string shortened(const Json& json) {
  constexpr std::size_t maxLength = 160;
  auto text = toLine(json);
  if (text.size() <= maxLength) return text;
  // Not in the middle of a character.
  auto end = maxLength;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end) + "...";
}

/// "photo jpeg 640 x 480", in place of a whole `media`.
std::string mediaText(const Json& media) {
  const auto number = [&media](const char* key) { return shortened(media.value(key, Json())); };
  return "a " + media.value("format", "?") + " " + media.value("kind", "?") + " of " +
         number("width") + " x " + number("height");
}

std::string valueText(std::string_view key, const Json& value) {
  const bool isMedia = key == "media" && value.is_object() && value.contains("format");
  return isMedia ? mediaText(value) : shortened(value);
}

std::optional<imaging::PerceptualHash> hashIn(const Json& json) {
  const auto* text = json.get_ptr<const std::string*>();
  return text ? imaging::perceptualHashFromText(*text) : std::nullopt;
}

/// How far a number under the key may be from what is expected; nothing where it has to be equal.
std::optional<double> toleranceOf(std::string_view key, const Json& expected) {
  if (!expected.is_number()) return std::nullopt;
  if (key == "bytes" || key == "data") return std::max(512.0, expected.get<double>() / 5);
  if (key == "duration") return 0.1;
  return std::nullopt;
}

/// The differences within one event.
class EventComparison {
 public:
  explicit EventComparison(const ComparisonOptions& options) : options_(options) {}

  std::vector<std::string> differences(const Json& expected, const Json& actual) {
    messages_.clear();
    compareObjects("", expected, actual);
    return std::exchange(messages_, {});
  }

 private:
  void compareObjects(const std::string& place, const Json& expected, const Json& actual) {
    const auto placeOf = [&](const std::string& key) { return placeOfKey(place, key); };
    // In the order in which the device wrote them.
    for (const auto& [key, value] : actual.items()) {
      if (key == "sha256") continue;
      if (const auto wanted = expected.find(key); wanted != expected.end())
        compareValues(placeOf(key), key, *wanted, value);
      else
        add(placeOf(key), "expected none, came " + valueText(key, value));
    }
    for (const auto& [key, value] : expected.items())
      if (key != "sha256" && !actual.contains(key))
        add(placeOf(key), "expected " + valueText(key, value) + ", came none");
  }

  void compareValues(const std::string& place, std::string_view key, const Json& expected,
                     const Json& actual) {
    if (expected.is_object() && actual.is_object()) return compareObjects(place, expected, actual);
    if (expected.is_array() && actual.is_array() && expected.size() == actual.size()) {
      for (std::size_t i = 0; i < expected.size(); ++i)
        compareValues(placeOfElement(place, i), key, expected[i], actual[i]);
      return;
    }
    if (key == "perceptualHash") {
      const auto a = hashIn(expected);
      const auto b = hashIn(actual);
      if (a && b) return compareHashes(place, *a, *b);
    }
    if (const auto tolerance = toleranceOf(key, expected); tolerance && actual.is_number()) {
      if (std::abs(actual.get<double>() - expected.get<double>()) > *tolerance)
        add(place, "expected about " + shortened(expected) + ", came " + shortened(actual));
      return;
    }
    if (expected != actual)
      add(place, "expected " + shortened(expected) + ", came " + shortened(actual));
  }

  void compareHashes(const std::string& place, imaging::PerceptualHash expected,
                     imaging::PerceptualHash actual) {
    const int distance = imaging::distanceBetween(expected, actual);
    if (distance <= options_.maxDistance) return;
    add(place, "another picture: " + std::to_string(distance) + " of 64 bits differ, and at most " +
                   std::to_string(options_.maxDistance) + " may; expected " +
                   imaging::toText(expected) + ", came " + imaging::toText(actual));
  }

  void add(const std::string& place, const std::string& message) {
    messages_.push_back(place + ": " + message);
  }

  const ComparisonOptions& options_;
  std::vector<std::string> messages_;
};

/// What a message calls the event: `answer to "first"`, `log "..."`.
std::string nameOf(const Json& event) {
  const auto name = event.value("event", "event");
  if (name == "answer") return name + " to " + inQuotes(event.value("to", ""));
  if (name == "open") return name + " callback " + inQuotes(event.value("callback", ""));
  for (const auto* key :
       {"title", "kind", "msg", "text", "for", "url", "manager", "selector", "format"})
    if (const auto found = event.find(key); found != event.end() && found->is_string())
      return name + " " + inQuotes(found->get<std::string>());
  return name;
}

/// An expected event and what came; one of them may be null.
using EventPair = std::pair<const Json*, const Json*>;

/// The pairing with the fewest changes: what is equal costs nothing, one of the same kind with
/// differences costs less than one that is missing and one too many, and the more so the fewer the
/// differences are.
class Alignment {
 public:
  Alignment(const std::vector<Json>& expected, const std::vector<Json>& actual,
            EventComparison& comparison)
      : expected_(expected), actual_(actual), comparison_(comparison) {}

  std::vector<EventPair> pairs() {
    fill();
    std::vector<EventPair> result;
    for (std::size_t i = 0, j = 0; i < expected_.size() || j < actual_.size();) {
      const int rest = at(i, j);
      if (i < expected_.size() && j < actual_.size() && rest == pairCost(i, j) + at(i + 1, j + 1))
        result.emplace_back(&expected_[i++], &actual_[j++]);
      else if (i < expected_.size() && rest == single + at(i + 1, j))
        result.emplace_back(&expected_[i++], nullptr);
      else
        result.emplace_back(nullptr, &actual_[j++]);
    }
    return result;
  }

 private:
  static constexpr int single = 10;

  void fill() {
    const auto width = actual_.size() + 1;
    costs_.assign((expected_.size() + 1) * width, 0);
    pairCosts_.assign(expected_.size() * actual_.size(), 0);
    for (std::size_t i = expected_.size() + 1; i-- > 0;)
      for (std::size_t j = width; j-- > 0;) {
        if (i == expected_.size() || j == actual_.size()) {
          at(i, j) = single * static_cast<int>(expected_.size() - i + actual_.size() - j);
          continue;
        }
        pairCost(i, j) = costOf(expected_[i], actual_[j]);
        at(i, j) = std::min(
            {pairCost(i, j) + at(i + 1, j + 1), single + at(i + 1, j), single + at(i, j + 1)});
      }
  }

  int costOf(const Json& expected, const Json& actual) {
    constexpr int never = 1000;
    if (expected.value("event", "") != actual.value("event", "")) return never;
    const auto count = comparison_.differences(expected, actual).size();
    if (count == 0) return 0;
    // One of another name is rather another event, but still more like it than none.
    const int named = nameOf(expected) == nameOf(actual) ? single / 2 : single * 3 / 2;
    return named + static_cast<int>(std::min<std::size_t>(count, 4));
  }

  int& at(std::size_t i, std::size_t j) { return costs_[i * (actual_.size() + 1) + j]; }
  int& pairCost(std::size_t i, std::size_t j) { return pairCosts_[i * actual_.size() + j]; }

  const std::vector<Json>& expected_;
  const std::vector<Json>& actual_;
  EventComparison& comparison_;
  /// Of what is left from each pair of places on, and of each pair of events.
  std::vector<int> costs_;
  std::vector<int> pairCosts_;
};

}  // namespace

std::string Difference::description() const {
  if (action == endOfScript) return "at the end: " + message;
  return "step " + std::to_string(step) + " (" + action + "): " + message;
}

std::vector<Difference> compare(const Expectation& expected, const Expectation& actual,
                                const ComparisonOptions& options) {
  std::vector<Difference> differences;
  EventComparison comparison(options);
  const auto count = std::min(expected.steps.size(), actual.steps.size());
  for (std::size_t i = 0; i < count; ++i) {
    const auto& wanted = expected.steps[i];
    const auto& came = actual.steps[i];
    const auto add = [&](std::string message) {
      differences.push_back({i, came.action, std::move(message)});
    };
    if (wanted.action != came.action) {
      // What follows belongs to other steps.
      add((wanted.action == endOfScript ? "expected the end of the script"
                                        : "expected the step " + inQuotes(wanted.action)) +
          ": the script has changed since the expectation was written");
      return differences;
    }
    for (const auto& [event, actualEvent] :
         Alignment(wanted.events, came.events, comparison).pairs()) {
      if (!actualEvent)
        add("missing: " + nameOf(*event));
      else if (!event)
        add("not expected: " + shortened(*actualEvent));
      else
        for (const auto& message : comparison.differences(*event, *actualEvent))
          add(nameOf(*event) + ": " + message);
    }
  }
  return differences;
}

}  // namespace vecamera::device::script
