#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulator/server/http/Http.h"

namespace vecamera::simulator {

/// The text as a page's content or as the value of an attribute.
std::string escapedHtml(std::string_view text);

/// A page of the server's own, for the people who see it in the place of the one they wanted.
struct MessagePage {
  unsigned status = 404;
  std::string title;
  /// HTML, each with its own escapes.
  std::vector<std::string> paragraphs;
  /// HTML for the head.
  std::string head;
};

Response messagePage(const MessagePage& page);

}  // namespace vecamera::simulator
