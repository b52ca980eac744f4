#include "device/foundation/StringsTable.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <iterator>
#include <string_view>

#include "device/base/Utf8.h"
#include "device/foundation/PropertyLists.h"

namespace vecamera::device::foundation {
namespace {

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
  if (!isUtf8(bytes)) return std::nullopt;
  return icu::UnicodeString::fromUTF8({bytes.data(), static_cast<int32_t>(bytes.size())});
}

/// The characters from 0x80 on of the encoding of NeXTSTEP, which octal escapes are in.
constexpr char16_t nextStepCharacters[] =
    u"\u00A0ÀÁÂÃÄÅÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖÙÚÛÜÝÞµ×÷©¡¢£⁄¥ƒ§¤’“«‹›ﬁﬂ®–†‡·¦¶•‚„”»…‰¬¿¹ˋ´ˆ˜¯˘˙¨²˚¸³˝˛ˇ"
    u"—±¼½¾àáâãäåçèéêëìÆíªîïðñŁØŒºòóôõöæùúûıüýłøœßþÿ\uFFFD\uFFFD";
static_assert(std::size(nextStepCharacters) == 128 + 1);

/// Reads the old text form of a property list whose top is a dictionary, with or without its
/// braces. Where the text is broken, the parser goes to its end.
class StringsParser {
 public:
  explicit StringsParser(icu::UnicodeString text) : text_(std::move(text)) {}

  std::optional<StringsTable> table() {
    StringsTable table;
    const bool braces = skip(u'{');
    readEntries(table, 0);
    if (braces) expect(u'}');
    skipBlanks();
    if (broken_ || at_ < text_.length()) return std::nullopt;
    return table;
  }

 private:
  static constexpr int maxDepth = 512;

  void fail() {
    broken_ = true;
    at_ = text_.length();
  }

  /// The next unit; zero at the end.
  char16_t peek(int32_t ahead = 0) const {
    return at_ + ahead < text_.length() ? text_[at_ + ahead] : u'\0';
  }

  void skipBlanks() {
    for (;;) {
      if (u_isUWhiteSpace(peek())) {
        ++at_;
      } else if (peek() == u'/' && peek(1) == u'/') {
        while (at_ < text_.length() && peek() != u'\n' && peek() != u'\r') ++at_;
      } else if (peek() == u'/' && peek(1) == u'*') {
        const int32_t end = text_.indexOf(u"*/", 2, at_ + 2);
        if (end < 0) return fail();
        at_ = end + 2;
      } else {
        return;
      }
    }
  }

  bool skip(char16_t expected) {
    skipBlanks();
    if (peek() != expected) return false;
    ++at_;
    return true;
  }

  void expect(char16_t expected) {
    if (!skip(expected)) fail();
  }

  /// Reads each `key = value;`, or `key;`, which stands for a value equal to its key.
  void readEntries(StringsTable& table, int depth) {
    while (const auto key = readText()) {
      const auto value = skip(u'=') ? readValue(depth) : key;
      expect(u';');
      table.erase(*key);
      if (value) table.emplace(*key, *value);
    }
  }

  /// A text, or nothing for a dictionary, an array and data.
  std::optional<std::string> readValue(int depth) {
    StringsTable ignored;
    if (depth == maxDepth) {
      fail();
    } else if (skip(u'{')) {
      readEntries(ignored, depth + 1);
      expect(u'}');
    } else if (skip(u'(')) {
      while (!skip(u')') && !broken_) {
        readValue(depth + 1);
        if (!skip(u',') && peek() != u')') fail();
      }
    } else if (skip(u'<')) {
      while (!skip(u'>') && !broken_) {
        const bool isByte = digitValue(peek(), 16) >= 0 && digitValue(peek(1), 16) >= 0;
        at_ += 2;
        if (!isByte) fail();
      }
    } else {
      auto text = readText();
      if (!text) fail();
      return text;
    }
    return std::nullopt;
  }

  /// Nothing where no text begins here.
  std::optional<std::string> readText() {
    skipBlanks();
    icu::UnicodeString text;
    if (peek() == u'"' || peek() == u'\'') {
      text = readQuoted();
    } else {
      while (isBare(peek())) text += text_[at_++];
      if (text.isEmpty()) return std::nullopt;
    }
    std::string utf8;
    return text.toUTF8String(utf8);
  }

  static bool isBare(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
           (c != u'\0' && std::u16string_view(u"_$/:.-").find(c) != std::u16string_view::npos);
  }

  icu::UnicodeString readQuoted() {
    const char16_t quote = text_[at_++];
    icu::UnicodeString content;
    while (at_ < text_.length()) {
      const char16_t c = text_[at_++];
      if (c == quote) return content;
      content += c == u'\\' ? readEscape() : c;
    }
    fail();
    return content;
  }

  /// The unit that the escape behind a backslash stands for; an unknown one stands for itself.
  char16_t readEscape() {
    const char16_t c = peek();
    if (c >= u'0' && c <= u'7') {
      const int byte = readDigits(8, 3) & 0xFF;
      return byte < 0x80 ? static_cast<char16_t>(byte) : nextStepCharacters[byte - 0x80];
    }
    ++at_;
    switch (c) {
      case u'a': return u'\a';
      case u'b': return u'\b';
      case u'f': return u'\f';
      case u'n': return u'\n';
      case u'r': return u'\r';
      case u't': return u'\t';
      case u'v': return u'\v';
      case u'U': return static_cast<char16_t>(readDigits(16, 4));
      default: return c;
    }
  }

  /// Negative for what is no ASCII digit.
  static int digitValue(char16_t c, int8_t base) { return c < 0x80 ? u_digit(c, base) : -1; }

  int readDigits(int8_t base, int maxDigits) {
    int value = 0;
    for (int i = 0; i < maxDigits && digitValue(peek(), base) >= 0; ++i)
      value = value * base + digitValue(text_[at_++], base);
    return value;
  }

  icu::UnicodeString text_;
  int32_t at_ = 0;
  bool broken_ = false;
};

}  // namespace

std::optional<StringsTable> parseStringsTable(const Data& file) {
  if (file.empty()) return std::nullopt;
  if (isPropertyList(file)) return propertyListTexts(file);
  auto text = decoded({reinterpret_cast<const char*>(file.bytes().data()), file.size()});
  if (!text) return std::nullopt;
  return StringsParser(std::move(*text)).table();
}

}  // namespace vecamera::device::foundation
