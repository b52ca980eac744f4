#include "simulator/server/http/HtmlInsertion.h"

#include <algorithm>
#include <utility>

#include "simulator/server/http/Http.h"

namespace vecamera::simulator {
namespace {

/// A longer prologue gets the markup where the place would be so far.
constexpr std::size_t maxHeldBytes = 16384;

constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view byteOrderMarks[] = {byteOrderMark, "\xfe\xff", "\xff\xfe"};
constexpr std::string_view whitespace = " \t\r\n\f";

/// Where the tag ends that begins here, behind its ">". Nothing where it does not end here.
std::optional<std::size_t> endOfTag(std::string_view text, std::size_t begin) {
  char quote = 0;
  for (auto at = begin; at < text.size(); ++at) {
    const char c = text[at];
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      return at + 1;
    }
  }
  return std::nullopt;
}

/// Whether the text begins with the word, as far as it goes.
bool mayBegin(std::string_view text, std::string_view word) {
  const auto length = std::min(text.size(), word.size());
  return sameWord(text.substr(0, length), word.substr(0, length));
}

bool isTag(std::string_view text, std::string_view name) {
  if (text.size() <= name.size()) return false;
  const char next = text[name.size()];
  return mayBegin(text, name) &&
         (next == '>' || next == '/' || whitespace.find(next) != std::string_view::npos);
}

struct Place {
  std::size_t at = 0;
  /// Whether nothing that follows can move it.
  bool isFinal = false;
};

/// The place behind the document type and the opening tags of "html" and "head", as far as they are
/// there. What stands before a place may be comments and white space, but no content.
Place placeIn(std::string_view text) {
  Place place;
  if (text.starts_with(byteOrderMark)) place.at = byteOrderMark.size();
  auto at = place.at;
  for (;;) {
    at = std::min(text.find_first_not_of(whitespace, at), text.size());
    const auto rest = text.substr(at);
    if (rest.empty()) return place;
    // The beginning of a mark that says how the text is written.
    if (at == 0 && std::ranges::any_of(byteOrderMarks, [rest](auto mark) {
          return mark.starts_with(rest) && rest.size() < mark.size();
        }))
      return place;
    if (rest.starts_with("<!--")) {
      const auto end = rest.find("-->", 4);
      if (end == std::string_view::npos) return place;
      at += end + 3;
      continue;
    }
    const bool isKnown = isTag(rest, "<!doctype") || isTag(rest, "<html") || isTag(rest, "<head");
    if (!isKnown) {
      const bool mayBecomeKnown =
          mayBegin(rest, "<!--") ||
          std::ranges::any_of(
              std::initializer_list<std::string_view>{"<!doctype", "<html", "<head"},
              [&](auto tag) { return rest.size() <= tag.size() && mayBegin(rest, tag); });
      place.isFinal = !mayBecomeKnown;
      return place;
    }
    const auto end = endOfTag(text, at);
    if (!end) return place;
    place = {*end, isTag(rest, "<head")};
    if (place.isFinal) return place;
    at = *end;
  }
}

}  // namespace

std::string HtmlInsertion::push(std::string_view piece) {
  if (isDone_) return std::string(piece);
  held_ += piece;
  const auto place = placeIn(held_);
  if (!place.isFinal && held_.size() < maxHeldBytes) return {};
  return insertAt(place.at);
}

std::string HtmlInsertion::finish() {
  return isDone_ ? std::string() : insertAt(placeIn(held_).at);
}

std::string HtmlInsertion::insertAt(std::size_t place) {
  isDone_ = true;
  // Of UTF-16 every second byte is none of the markup's.
  const bool isWide = held_.starts_with("\xfe\xff") || held_.starts_with("\xff\xfe");
  if (!isWide) held_.insert(place, markup_);
  return std::exchange(held_, {});
}

std::string withInsertion(std::string_view document, std::string markup) {
  HtmlInsertion insertion(std::move(markup));
  auto text = insertion.push(document);
  return text + insertion.finish();
}

}  // namespace vecamera::simulator
