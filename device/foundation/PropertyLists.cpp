#include "device/foundation/PropertyLists.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vecamera::device::foundation {
namespace {

/// The library recurses into containers and copies an object for each reference to it.
constexpr std::size_t maxContainers = 2000;
constexpr std::uint64_t maxCopiedBytes = std::uint64_t{64} << 20;

using PropertyList = std::unique_ptr<std::remove_pointer_t<plist_t>, void (*)(plist_t)>;

/// The text of the file without a byte order mark and leading blanks.
std::string_view textOf(const Data& file) {
  std::string_view text(reinterpret_cast<const char*>(file.bytes().data()), file.size());
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  return text;
}

bool isBinary(std::string_view text) {
  return text.starts_with("bplist");
}

std::size_t count(std::string_view text, std::string_view part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) {
    ++found;
  }
  return found;
}

bool isTameXml(std::string_view text) {
  return count(text, "<dict") + count(text, "<array") <= maxContainers;
}

/// Looks through the objects of a binary property list for what would exhaust a reader: too many
/// containers, one in more than one place, and more copies of texts than fit. Header (8 bytes),
/// objects, the offset of each object, and a trailer (32 bytes) follow each other in the file.
class BinaryScan {
 public:
  explicit BinaryScan(std::string_view file) : file_(file) {}

  bool isTame() {
    if (file_.size() < 40) return false;
    const std::size_t trailer = file_.size() - 32;
    offsetSize_ = number(trailer + 6, 1);
    referenceSize_ = number(trailer + 7, 1);
    const std::uint64_t objects = number(trailer + 8, 8);
    offsetTable_ = number(trailer + 24, 8);
    if (objects > file_.size()) return false;
    references_.resize(objects);
    for (std::uint64_t i = 0; i < objects && !failed_; ++i) countReferencesOf(objectAt(i));
    return !failed_ && copiesFit();
  }

 private:
  enum Kind { data = 4, ascii = 5, utf16 = 6, array = 10, set = 12, dictionary = 13 };
  struct ObjectHead {
    int kind = 0;
    std::uint64_t length = 0;
    /// Where the content begins.
    std::uint64_t start = 0;
    bool isContainer() const { return kind >= array && kind <= dictionary; }
  };

  /// A number with its highest byte first; marks the scan as failed where it lies outside.
  std::uint64_t number(std::uint64_t at, std::uint64_t width) {
    if (width < 1 || width > 8 || at > file_.size() || width > file_.size() - at) {
      failed_ = true;
      return 0;
    }
    std::uint64_t value = 0;
    for (const char c : file_.substr(at, width)) value = value << 8 | static_cast<unsigned char>(c);
    return value;
  }

  ObjectHead objectAt(std::uint64_t index) {
    const std::uint64_t at = number(offsetTable_ + index * offsetSize_, offsetSize_);
    const std::uint64_t marker = number(at, 1);
    ObjectHead head{static_cast<int>(marker >> 4), marker & 15, at + 1};
    if (head.length == 15 && head.kind >= data) {
      // The length stands behind the marker, as an integer object.
      const std::uint64_t width = std::uint64_t{1} << (number(at + 1, 1) & 15);
      head.length = number(at + 2, width);
      head.start = at + 2 + width;
    }
    return head;
  }

  void countReferencesOf(const ObjectHead& head) {
    if (!head.isContainer()) return;
    if (++containers_ > maxContainers || head.length > file_.size()) {
      failed_ = true;
      return;
    }
    const std::uint64_t held = head.length * (head.kind == dictionary ? 2 : 1);
    for (std::uint64_t i = 0; i < held && !failed_; ++i) {
      const std::uint64_t index = number(head.start + i * referenceSize_, referenceSize_);
      // References that do not share bytes are no more than the file has bytes.
      if (index >= references_.size() || ++total_ > file_.size()) {
        failed_ = true;
      } else {
        ++references_[index];
      }
    }
  }

  bool copiesFit() {
    std::uint64_t copied = 0;
    for (std::size_t i = 0; i < references_.size(); ++i) {
      const ObjectHead head = objectAt(i);
      if (head.isContainer() && references_[i] > 1) return false;
      if (head.kind < data || head.kind > utf16) continue;
      if (head.length > file_.size()) return false;
      copied += head.length * references_[i];
      if (copied > maxCopiedBytes) return false;
    }
    return true;
  }

  std::string_view file_;
  bool failed_ = false;
  std::uint64_t offsetSize_ = 0;
  std::uint64_t referenceSize_ = 0;
  std::uint64_t offsetTable_ = 0;
  std::uint64_t total_ = 0;
  std::size_t containers_ = 0;
  /// How often each object is referred to.
  std::vector<std::uint32_t> references_;
};

/// The property list, or null.
PropertyList read(std::string_view text) {
  plist_t top = nullptr;
  const auto size = static_cast<std::uint32_t>(text.size());
  if (isBinary(text)) {
    if (BinaryScan(text).isTame()) plist_from_bin(text.data(), size, &top);
  } else if (isTameXml(text)) {
    plist_from_xml(text.data(), size, &top);
  }
  return PropertyList(top, plist_free);
}

std::optional<std::string> textOfNode(plist_t node) {
  if (plist_get_node_type(node) != PLIST_STRING) return std::nullopt;
  std::uint64_t length = 0;
  const char* const text = plist_get_string_ptr(node, &length);
  if (!text) return std::nullopt;
  return std::string(text, length);
}

}  // namespace

bool isPropertyList(const Data& file) {
  const auto text = textOf(file);
  return isBinary(text) || text.starts_with("<?xml") || text.starts_with("<!DOCTYPE") ||
         text.starts_with("<plist");
}

std::optional<std::map<std::string, std::string, std::less<>>> propertyListTexts(const Data& file) {
  const PropertyList list =
      isPropertyList(file) ? read(textOf(file)) : PropertyList(nullptr, plist_free);
  if (!list || plist_get_node_type(list.get()) != PLIST_DICT) return std::nullopt;
  plist_dict_iter rawIterator = nullptr;
  plist_dict_new_iter(list.get(), &rawIterator);
  const std::unique_ptr<void, void (*)(void*)> iterator(rawIterator, std::free);
  std::map<std::string, std::string, std::less<>> texts;
  for (;;) {
    char* rawKey = nullptr;
    plist_t node = nullptr;
    plist_dict_next_item(list.get(), iterator.get(), &rawKey, &node);
    const std::unique_ptr<char, void (*)(void*)> key(rawKey, std::free);
    if (!node) return texts;
    if (auto text = textOfNode(node); key && text)
      texts.insert_or_assign(key.get(), std::move(*text));
  }
}

}  // namespace vecamera::device::foundation
