#include "simulator/server/sites/MessagePage.h"

namespace vecamera::simulator {
namespace {

constexpr std::string_view style = R"(
:root { color-scheme: light dark; --text: #1c2430; --quiet: #56606e; --paper: #f6f7f9; --code: #e6e9ee; }
@media (prefers-color-scheme: dark) {
  :root { --text: #e8ebf0; --quiet: #a3adba; --paper: #14181f; --code: #262d38; }
}
html { height: 100%; }
body {
  min-height: 100%; box-sizing: border-box; margin: 0; padding: 2rem 1.5rem; display: grid;
  align-content: center; background: var(--paper); color: var(--text);
  font: 1rem/1.5 system-ui, sans-serif;
}
main { max-width: 30rem; margin: 0 auto; }
h1 { margin: 0 0 0.75rem; font-size: 1.35rem; line-height: 1.25; }
p { margin: 0 0 0.75rem; overflow-wrap: anywhere; }
p + p { color: var(--quiet); }
code { padding: 0.1em 0.3em; border-radius: 0.3em; background: var(--code); color: var(--text); font-size: 0.9em; }
)";

}  // namespace

std::string escapedHtml(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&': escaped += "&amp;"; break;
      case '<': escaped += "&lt;"; break;
      case '>': escaped += "&gt;"; break;
      case '"': escaped += "&quot;"; break;
      default: escaped += c;
    }
  }
  return escaped;
}

Response messagePage(const MessagePage& page) {
  std::string text = "<!doctype html>\n<html lang=\"en\">\n<head>" + page.head +
                     "<meta charset=\"utf-8\">\n"
                     "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                     "<title>" +
                     page.title + "</title>\n<style>" + std::string(style) +
                     "</style>\n</head>\n<body>\n<main>\n<h1>" + page.title + "</h1>\n";
  for (const auto& paragraph : page.paragraphs) text += "<p>" + paragraph + "</p>\n";
  return {page.status,
          {{"Content-Type", "text/html; charset=utf-8"}, {"Cache-Control", "no-store"}},
          text + "</main>\n</body>\n</html>\n"};
}

}  // namespace vecamera::simulator
