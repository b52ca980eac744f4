#include "simulator/server/model/OptionRows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/script/json/JsonValue.h"

namespace vecamera::simulator {
namespace {

using testing::HasSubstr;

Json optionsOfText(const std::string& arguments) {
  Array array;
  for (const auto& one : Json::parse(arguments)) array.push_back(*script::toValue(one));
  return optionsOf(array);
}

Json rowOf(const Json& options, const std::string& name) {
  for (const auto& row : options["rows"])
    if (row["name"] == name) return row;
  ADD_FAILURE() << "there is no row " << name;
  return {};
}

TEST(OptionRowsTest, GivesThePluginsDefaultsForNoArgumentsAtAll) {
  const auto options = optionsOfText("[]");
  EXPECT_EQ(options["values"], Json::parse(R"({"quality":50,"destination":"nativeUrl",
      "source":"camera","targetSize":null,"encoding":"jpeg","media":"picture",
      "allowsEditing":false,"correctOrientation":false,"saveToPhotoAlbum":false,
      "cameraDirection":"rear","usesGeolocation":false})"));
  for (const auto& row : options["rows"]) {
    EXPECT_EQ(row["given"], false) << row;
    EXPECT_FALSE(row.contains("note")) << row;
  }
}

TEST(OptionRowsTest, ReadsEachPositionAsItsOwnKind) {
  const auto options =
      optionsOfText(R"([150,0,2,640.5,480,1,2,true,1,true,"never read",true,true])");
  EXPECT_EQ(options["values"], Json::parse(R"({"quality":150,"destination":"dataUrl",
      "source":"savedPhotosAlbum","targetSize":{"width":640.5,"height":480.0},"encoding":"png",
      "media":"all","allowsEditing":true,"correctOrientation":true,"saveToPhotoAlbum":true,
      "cameraDirection":"front","usesGeolocation":true})"));
  EXPECT_EQ(rowOf(options, "targetSize"),
            Json::parse(R"({"position":"3, 4","name":"targetSize","value":"640.5 × 480",
                            "given":true})"));
}

TEST(OptionRowsTest, NotesArgumentsThatDoNotMeanWhatTheySeemTo) {
  const struct {
    const char* arguments;
    const char* name;
    const char* value;
    bool given;
    const char* note;
  } cases[] = {
      {R"(["50"])", "quality", "50", false, "\"50\" is no whole number and counts as not given."},
      {"[50.5]", "quality", "50", false, "50.5 is no whole number"},
      {"[null,null,null,null,null,null,null,2]", "allowsEditing", "no", false, "2 is no boolean"},
      {"[50,7]", "destination", "empty", true, "7 is none of its values, so the option is empty."},
      {"[50,1,1,640]", "targetSize", "none", false, "width and height are both given"},
      {"[50,0,0,null,null,0,1]", "source", "camera", true, "movies from the photo library"},
      {"[50,0,9]", "source", "9", true, ""},
  };
  for (const auto& [arguments, name, value, given, note] : cases) {
    const auto row = rowOf(optionsOfText(arguments), name);
    EXPECT_EQ(row["value"], value) << arguments;
    EXPECT_EQ(row["given"], given) << arguments;
    EXPECT_THAT(row.value("note", ""), HasSubstr(note)) << arguments;
    EXPECT_EQ(row.contains("note"), *note != 0) << arguments;
  }
}

TEST(OptionRowsTest, SaysAtWhichQualityAJpegIsEncoded) {
  const struct {
    const char* arguments;
    double value;
    bool whole;
  } cases[] = {
      {"[50,0,1]", 0, false},       {"[-5,0,1]", 0, false},
      {"[100,0,1]", 1, false},      {"[250,0,1]", 2, false},
      {"[50,0,0]", 1, true},        {"[50,0,0,null,null,0,0,false,true]", 0, false},
      {"[50,0,0,0,200]", 0, false}, {"[50,0,0,0,0]", 1, true},
  };
  for (const auto& [arguments, value, whole] : cases) {
    const auto quality = optionsOfText(arguments)["quality"];
    EXPECT_EQ(quality["value"], value) << arguments;
    EXPECT_EQ(quality["whole"], whole) << arguments;
  }
}

}  // namespace
}  // namespace vecamera::simulator
