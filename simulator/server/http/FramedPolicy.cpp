#include "simulator/server/http/FramedPolicy.h"

#include <algorithm>
#include <vector>

#include "simulator/server/http/Http.h"

namespace vecamera::simulator {
namespace {

constexpr std::string_view whitespace = " \t\n\f\r";

using Words = std::vector<std::string>;

template <class Use>
void forEachPart(std::string_view text, std::string_view separators, Use use) {
  while (!text.empty()) {
    const auto end = std::min(text.find_first_of(separators), text.size());
    if (end > 0) use(text.substr(0, end));
    text.remove_prefix(std::min(text.size(), end + 1));
  }
}

/// A directive's name and its sources.
Words wordsOf(std::string_view directive) {
  Words words;
  forEachPart(directive, whitespace, [&](std::string_view word) { words.emplace_back(word); });
  return words;
}

bool hasWord(const Words& words, std::string_view word) {
  return std::ranges::any_of(words, [word](const auto& other) { return sameWord(word, other); });
}

Words* findDirective(std::vector<Words>& directives, std::string_view name) {
  for (auto& words : directives)
    if (sameWord(words.front(), name)) return &words;
  return nullptr;
}

void allow(Words& directive, const InsertedScript& script) {
  std::erase_if(directive, [](const auto& word) { return sameWord(word, "'none'"); });
  // With 'strict-dynamic' no addresses count.
  const bool isStrict = hasWord(directive, "'strict-dynamic'");
  directive.push_back(isStrict ? "'nonce-" + script.nonce + "'" : script.source);
}

void allow(std::vector<Words>& directives, const InsertedScript& script) {
  // In the order in which a browser looks for the one that counts.
  for (const auto* name : {"script-src-elem", "script-src"})
    if (auto* directive = findDirective(directives, name)) return allow(*directive, script);
  if (const auto* fallback = findDirective(directives, "default-src")) {
    auto scripts = *fallback;
    scripts.front() = "script-src-elem";
    allow(scripts, script);
    directives.push_back(std::move(scripts));
  }
}

}  // namespace

std::string framedPolicy(std::string_view value, const InsertedScript& script) {
  std::string result;
  // Several policies in one field are divided by commas, and a page is under all of them.
  forEachPart(value, ",", [&](std::string_view policy) {
    std::vector<Words> directives;
    forEachPart(policy, ";", [&](std::string_view directive) {
      auto words = wordsOf(directive);
      if (words.empty() || sameWord(words.front(), "frame-ancestors")) return;
      directives.push_back(std::move(words));
    });
    allow(directives, script);
    std::string text;
    for (const auto& words : directives) {
      text += text.empty() ? "" : "; ";
      for (const auto& word : words) text += (&word == &words.front() ? "" : " ") + word;
    }
    if (!text.empty()) result += (result.empty() ? "" : ", ") + text;
  });
  return result;
}

}  // namespace vecamera::simulator
