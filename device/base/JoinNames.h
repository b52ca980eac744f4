#pragma once

#include <functional>
#include <iterator>
#include <string>
#include <string_view>

namespace vecamera::device {

/// The names of the rows of a table, in its order, with commas between them and `lastSeparator`
/// before the last: "JPEG, PNG, HEIC or WebP".
template <class Table, class NameOf>
std::string joinNames(const Table& table, NameOf nameOf, std::string_view lastSeparator) {
  std::string names;
  for (const auto& row : table) {
    if (!names.empty()) names += &row == &*std::prev(std::end(table)) ? lastSeparator : ", ";
    names += std::invoke(nameOf, row);
  }
  return names;
}

}  // namespace vecamera::device
