#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vecamera::simulator {

/// Inserts markup as the first thing in the head of an HTML document that comes in pieces. Only the
/// document's first bytes are looked at, and no more than those are held back.
class HtmlInsertion {
 public:
  explicit HtmlInsertion(std::string markup) : markup_(std::move(markup)) {}

  /// What can be sent on, now that this piece has come. Empty: not enough has come to know the
  /// place.
  std::string push(std::string_view piece);
  /// What is still held back, after the last piece.
  std::string finish();
  /// Whether the place was found, so that further pieces need not be pushed.
  bool isDone() const { return isDone_; }

 private:
  std::string insertAt(std::size_t place);

  std::string markup_;
  std::string held_;
  bool isDone_ = false;
};

/// The whole document with the markup.
std::string withInsertion(std::string_view document, std::string markup);

}  // namespace vecamera::simulator
