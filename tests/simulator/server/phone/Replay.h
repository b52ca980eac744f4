#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "device/foundation/Base64.h"
#include "device/script/play/Player.h"
#include "device/script/script/ScriptReader.h"
#include "simulator/server/phone/SampleMedia.h"
#include "tests/simulator/server/TestFolder.h"
#include "tests/simulator/server/TestPhone.h"

/// Steps for phones, and the recordings of phones that are played again.
namespace vecamera::simulator {

using Json = nlohmann::ordered_json;

inline std::string photoAsDataUrl() {
  return device::foundation::Base64().base64EncodedString("data:image/jpeg;base64,",
                                                          sampleMedia().front().contents);
}

inline Json takePicture(const std::string& name, const std::string& arguments = "[50,1,1]") {
  return {{"do", "takePicture"}, {"as", name}, {"arguments", Json::parse(arguments)}};
}

/// Every place of `from` in the text becomes `to`.
inline std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

/// The events of a recording that is played as `vecamera run` plays it, but for the callbacks that
/// are open at the end, which a phone sends as its state.
inline std::vector<std::string> replayed(const std::filesystem::path& recording) {
  auto read = device::script::readScript(recording);
  if (!read) throw std::runtime_error(read.error().description());
  auto& script = *read;
  const TestFolder folder;
  const auto temporary = (folder.path() / "tmp").string();
  script.device.temporaryDirectory = temporary;
  std::vector<std::string> events;
  std::ostringstream diagnostics;
  const auto played = device::script::playScript(
      script, {},
      [&](std::string_view line) {
        if (Json::parse(line)["event"] == "open") return;
        events.push_back(
            Json::parse(
                replaced(replaced(std::string(line), "velmora-file://" + temporary + "/", "FILES/"),
                         temporary, "TMP"))
                .dump());
      },
      diagnostics);
  EXPECT_TRUE(played);
  return events;
}

/// Plays the phone's recording again and expects the same events.
inline void expectSameReplay(TestPhone& phone) {
  const TestFolder folder;
  const auto file = folder.path() / "recording.json";
  ASSERT_TRUE(phone.phone().recording().writeTo(file));
  std::vector<std::string> played;
  for (const auto& line : phone.events())
    played.push_back(replaced(replaced(line, TestPhone::filesAddress, "FILES/"),
                              phone.phone().temporaryDirectory(), "TMP"));
  const auto again = replayed(file);
  for (std::size_t i = 0; i < std::min(played.size(), again.size()); ++i)
    ASSERT_EQ(again[i], played[i]) << "event " << i;
  EXPECT_EQ(again.size(), played.size());
}

}  // namespace vecamera::simulator
