#include "tests/simulator/server/MessageCheck.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

#include "tests/simulator/server/TestFolder.h"

namespace vecamera::simulator {
namespace {

using Json = nlohmann::ordered_json;

/// Long media make checking slow and add nothing.
constexpr std::size_t maxBytes = 65536;
constexpr std::size_t comparedBytes = 24;

std::mutex mutex;
/// A line of each kind, by what it looks like.
std::map<std::string, std::string>& lines() {
  static std::map<std::string, std::string> all;
  return all;
}

/// The JSON with its numbers and the ends of its long texts left out.
Json shapeOf(const Json& json) {
  if (json.is_number_integer()) return 0;
  if (json.is_number()) return 0.5;
  if (json.is_string()) return json.get<std::string>().substr(0, comparedBytes);
  Json shape = json;
  if (json.is_structured())
    for (auto& [key, member] : shape.items()) member = shapeOf(member);
  return shape;
}

std::string textOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

class MessageCheck : public testing::Environment {
 public:
  void TearDown() override {
    if (lines().empty()) return;
    const TestFolder folder;
    const auto file = folder.path() / "messages";
    std::ofstream out(file);
    for (const auto& [shape, line] : lines()) out << line << '\n';
    out.close();
    std::string command = VECAMERA_MESSAGE_CHECK " ";
    command += file.string();
    EXPECT_EQ(std::system(command.c_str()), 0) << "messages do not fit the protocol's schema";
  }
};

[[maybe_unused]] const auto* const check = testing::AddGlobalTestEnvironment(new MessageCheck);

}  // namespace

void checkLater(std::string_view definition, const Json& message) {
  const auto text = textOf(message);
  if (text.size() > maxBytes) return;
  std::string name(definition);
  name += ' ';
  const std::lock_guard lock(mutex);
  lines().emplace(name + textOf(shapeOf(message)), name + text);
}

}  // namespace vecamera::simulator
