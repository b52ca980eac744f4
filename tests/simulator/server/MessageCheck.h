#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

namespace vecamera::simulator {

/// At the end of all tests the message is to fit that definition of the protocol's schema; of those
/// that look alike, one does for all. Any thread.
void checkLater(std::string_view definition, const nlohmann::ordered_json& message);

}  // namespace vecamera::simulator
