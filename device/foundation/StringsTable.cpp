#include "device/foundation/StringsTable.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <string_view>
#include <utility>

#include "device/foundation/PropertyLists.h"

namespace vecamera::device::foundation {
namespace {

std::optional<icu::UnicodeString> fromUtf8(std::string_view bytes) {
  icu::UnicodeString text;
  const auto size = static_cast<int32_t>(bytes.size());
  // No text has more UTF-16 units than UTF-8 bytes.
  char16_t* buffer = text.getBuffer(size + 1);
  if (!buffer) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;
  u_strFromUTF8(buffer, size + 1, &length, bytes.data(), size, &status);
  text.releaseBuffer(U_SUCCESS(status) ? length : 0);
  if (U_FAILURE(status)) return std::nullopt;
  return text;
}

enum class ByteOrder { bigEndian, littleEndian };

std::optional<icu::UnicodeString> fromUtf16(std::string_view bytes, ByteOrder order) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  icu::UnicodeString text;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<char16_t>(order == ByteOrder::bigEndian ? first << 8 | second
                                                                : second << 8 | first);
  }
  return text;
}

std::optional<icu::UnicodeString> decoded(std::string_view bytes) {
  if (bytes.starts_with("\xFE\xFF")) return fromUtf16(bytes.substr(2), ByteOrder::bigEndian);
  if (bytes.starts_with("\xFF\xFE")) return fromUtf16(bytes.substr(2), ByteOrder::littleEndian);
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  return fromUtf8(bytes);
}

/// Reads the old text form.
class StringsParser {
 public:
  explicit StringsParser(icu::UnicodeString text) : text_(std::move(text)) {}

  std::optional<StringsTable> table() {
    StringsTable table;
    for (;;) {
      if (!skipBlanks()) return std::nullopt;
      if (at_ == text_.length()) return table;
      if (!readEntry(table)) return std::nullopt;
    }
  }

 private:
  /// The next unit; zero at the end.
  char16_t peek(int32_t ahead = 0) const {
    return at_ + ahead < text_.length() ? text_[at_ + ahead] : u'\0';
  }

  /// Skips blanks and comments; false where a comment does not end.
  bool skipBlanks() {
    for (;;) {
      if (u_isUWhiteSpace(peek())) {
        ++at_;
      } else if (peek() == u'/' && peek(1) == u'/') {
        while (at_ < text_.length() && peek() != u'\n' && peek() != u'\r') ++at_;
      } else if (peek() == u'/' && peek(1) == u'*') {
        const int32_t end = text_.indexOf(u"*/", 2, at_ + 2);
        if (end < 0) return false;
        at_ = end + 2;
      } else {
        return true;
      }
    }
  }

  bool skip(char16_t expected) {
    if (!skipBlanks() || peek() != expected) return false;
    ++at_;
    return true;
  }

  /// Reads `key = value;`, or `key;`, which stands for a value equal to its key.
  bool readEntry(StringsTable& table) {
    const auto key = readText();
    if (!key || !skipBlanks()) return false;
    auto value = key;
    if (peek() == u'=') {
      ++at_;
      if (!skipBlanks()) return false;
      value = readText();
    }
    if (!value || !skip(u';')) return false;
    // Of equal keys, the first one counts.
    table.emplace(*key, *value);
    return true;
  }

  std::optional<std::string> readText() {
    const auto text = peek() == u'"' || peek() == u'\'' ? readQuoted() : readBare();
    if (!text) return std::nullopt;
    std::string utf8;
    return text->toUTF8String(utf8);
  }

  std::optional<icu::UnicodeString> readBare() {
    const int32_t start = at_;
    while (isBare(peek())) ++at_;
    if (at_ == start) return std::nullopt;
    return text_.tempSubStringBetween(start, at_);
  }

  static bool isBare(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
           (c != u'\0' && std::u16string_view(u"_$/:.-").find(c) != std::u16string_view::npos);
  }

  std::optional<icu::UnicodeString> readQuoted() {
    const char16_t quote = text_[at_++];
    icu::UnicodeString content;
    while (at_ < text_.length()) {
      const char16_t c = text_[at_++];
      if (c == quote) return content;
      if (c == u'\\' && at_ == text_.length()) return std::nullopt;
      content += c == u'\\' ? readEscape() : c;
    }
    return std::nullopt;
  }

  /// The unit that the escape behind a backslash stands for; an unknown one stands for itself.
  char16_t readEscape() {
    const char16_t c = text_[at_++];
    switch (c) {
      case u'a': return u'\a';
      case u'b': return u'\b';
      case u'f': return u'\f';
      case u'n': return u'\n';
      case u'r': return u'\r';
      case u't': return u'\t';
      case u'v': return u'\v';
      case u'u':
      case u'U': return readDigits(16, 4);
      default: break;
    }
    if (c < u'0' || c > u'7') return c;
    --at_;
    return readDigits(8, 3);
  }

  char16_t readDigits(int8_t base, int maxDigits) {
    int value = 0;
    for (int i = 0; i < maxDigits && u_digit(peek(), base) >= 0 && peek() < 0x80; ++i) {
      value = value * base + u_digit(text_[at_++], base);
    }
    return static_cast<char16_t>(value);
  }

  icu::UnicodeString text_;
  int32_t at_ = 0;
};

}  // namespace

std::optional<StringsTable> parseStringsTable(const Data& file) {
  if (isPropertyList(file)) return propertyListTexts(file);
  auto text = decoded({reinterpret_cast<const char*>(file.bytes().data()), file.size()});
  if (!text) return std::nullopt;
  return StringsParser(std::move(*text)).table();
}

}  // namespace vecamera::device::foundation
