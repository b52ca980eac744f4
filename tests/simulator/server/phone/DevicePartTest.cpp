#include "simulator/server/phone/DevicePart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/server/TestFolder.h"

namespace vecamera::simulator {
namespace {

using testing::HasSubstr;

TEST(DevicePartTest, ComesFromAWholeScriptOrItsDevicePart) {
  const TestFolder folder;
  folder.write("photo.jpg", "not looked at before it is imported");
  const auto file = folder.write("device.json", R"({"device":{
    "locale":"de_DE","seed":7,"files":{"a.txt":""},"urlTransformer":null,
    "temporaryDirectory":"tmp","library":[{"id":"A","file":"photo.jpg"}]}})");
  const auto read = readDevicePart(file);
  ASSERT_TRUE(read) << read.error().description();
  EXPECT_EQ(read->requested, Json::parse(R"({"locale":"de_DE"})"));
  EXPECT_TRUE(read->serverOwned.contains("seed") && read->serverOwned.contains("files"));
  EXPECT_EQ((*read->library)[0]["file"], (folder.path() / "photo.jpg").string());

  for (const auto& [text, why] :
       {std::pair("{\"steps\":[]}", "no \"device\""), std::pair("{\"device\":{\"odd\":1}}", "odd"),
        std::pair("{", "line 1")}) {
    const auto refused = readDevicePart(folder.write("bad.json", text));
    ASSERT_FALSE(refused) << text;
    EXPECT_THAT(refused.error().description(), HasSubstr(why));
  }
}

}  // namespace
}  // namespace vecamera::simulator
