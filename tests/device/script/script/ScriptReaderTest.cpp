#include "device/script/script/ScriptReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "device/script/script/ScriptJson.h"

namespace vecamera::device::script {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A private folder that holds "photo.jpg" and the folder "bundles".
class ScriptReaderTest : public testing::Test {
 protected:
  ScriptReaderTest() {
    std::string pattern = (fs::temp_directory_path() / "scripts-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
    fs::create_directory(folder_ / "bundles");
    std::ofstream(folder_ / "photo.jpg") << "bytes";
  }
  ~ScriptReaderTest() override { fs::remove_all(folder_); }

  /// The error for the text, or an empty one.
  std::string errorOf(const std::string& text) const {
    const auto read = parseScript(text, folder_);
    return read ? "" : read.error().description();
  }

  /// The script with these members of `device`.
  Script withDevice(const std::string& members) const {
    return parsed(R"({"device": {)" + members + R"(}, "steps": []})");
  }

  template <class T>
  T step(const std::string& members) const {
    const auto script = parsed(R"({"steps": [{)" + members + "}]}");
    if (script.steps.size() == 1)
      if (const auto* found = std::get_if<T>(&script.steps[0].step)) return *found;
    ADD_FAILURE() << members << " is not read as such a step";
    return T{};
  }

  Script parsed(const std::string& text) const {
    auto read = parseScript(text, folder_);
    if (!read) {
      ADD_FAILURE() << read.error().description();
      return {};
    }
    return *std::move(read);
  }

  fs::path folder_;
};

TEST_F(ScriptReaderTest, EverythingLeftOutHasItsDefault) {
  const auto device = parsed(R"({"steps": []})").device;
  EXPECT_EQ(device.temporaryDirectory, std::nullopt);
  EXPECT_EQ(device.mainBundle.kind, MainBundleSetup::Kind::sample);
  EXPECT_THAT(device.languages, ElementsAre("en"));
  EXPECT_EQ(device.locale, "en_US");
  EXPECT_EQ(device.timeZone, "UTC");
  EXPECT_EQ(device.clock, std::nullopt);
  EXPECT_EQ(device.seed, std::nullopt);
  EXPECT_THAT(device.availableSources, ElementsAre(0, 1, 2));
  EXPECT_EQ(device.authorization.camera, AVAuthorizationStatus::authorized);
  EXPECT_EQ(device.authorization.photoLibrary, PHAuthorizationStatus::authorized);
  EXPECT_EQ(device.authorization.location, location::LocationAuthorization::authorized);
  EXPECT_FALSE(device.prompts.camera.has_value());
  EXPECT_FALSE(device.location.has_value());
  EXPECT_EQ(device.urlTransformer.kind, UrlTransformerSetup::Kind::none);
  EXPECT_TRUE(device.viewController);
  EXPECT_TRUE(device.faults.empty());
}

TEST_F(ScriptReaderTest, TheDeviceIsReadWhole) {
  const auto device = withDevice(R"(
    "temporaryDirectory": "tmp/../app", "files": {"a.txt": "text", "sub/b": "", "empty/": ""},
    "mainBundle": "bundles/", "languages": ["pt-BR", "en"], "locale": "th_TH@calendar=buddhist",
    "timeZone": "Asia/Tokyo", "clock": "2024-05-01T12:30:00.250Z", "seed": 18446744073709551615,
    "availableSources": [1, 7, -2], "availableMediaTypes": {"0": ["public.image"], "1": null},
    "authorization": {"camera": "denied", "photoLibrary": "limited"},
    "prompts": {"camera": "deny", "photoLibrary": "restricted"},
    "library": [{"id": "B/L0/001", "file": "photo.jpg"}, {"id": "A/L0/001", "file": "photo.jpg"}],
    "urlTransformer": {"replace": ["file://", "app://"]}, "viewController": false)")
                          .device;
  EXPECT_EQ(device.temporaryDirectory, folder_ / "app");
  EXPECT_THAT(device.files, ElementsAre(testing::Pair("a.txt", "text"), testing::Pair("empty/", ""),
                                        testing::Pair("sub/b", "")));
  EXPECT_EQ(device.mainBundle.kind, MainBundleSetup::Kind::folder);
  EXPECT_EQ(device.mainBundle.folder, folder_ / "bundles");
  EXPECT_THAT(device.languages, ElementsAre("pt-BR", "en"));
  EXPECT_EQ(device.locale, "th_TH@calendar=buddhist");
  EXPECT_EQ(device.timeZone, "Asia/Tokyo");
  EXPECT_EQ(device.clock, Date(std::chrono::microseconds(1714566600250000)));
  EXPECT_EQ(device.seed, 18446744073709551615U);
  EXPECT_THAT(device.availableSources, ElementsAre(1, 7, -2));
  ASSERT_EQ(device.availableMediaTypes.size(), 2U);
  EXPECT_THAT(device.availableMediaTypes.at(0).value(), ElementsAre("public.image"));
  EXPECT_EQ(device.availableMediaTypes.at(1), std::nullopt);
  EXPECT_EQ(device.authorization.camera, AVAuthorizationStatus::denied);
  EXPECT_EQ(device.authorization.photoLibrary, PHAuthorizationStatus::limited);
  EXPECT_EQ(device.authorization.location, location::LocationAuthorization::authorized);
  EXPECT_EQ(device.prompts.camera, false);
  EXPECT_EQ(device.prompts.photoLibrary, PHAuthorizationStatus::restricted);
  ASSERT_EQ(device.library.size(), 2U);
  EXPECT_EQ(device.library[0].id, "B/L0/001");
  EXPECT_EQ(device.library[0].file, folder_ / "photo.jpg");
  EXPECT_EQ(device.urlTransformer.kind, UrlTransformerSetup::Kind::replace);
  EXPECT_EQ(device.urlTransformer.from, "file://");
  EXPECT_EQ(device.urlTransformer.to, "app://");
  EXPECT_FALSE(device.viewController);
}

TEST_F(ScriptReaderTest, NullSaysThatThereIsNone) {
  const auto device =
      withDevice(R"("mainBundle": null, "location": null, "urlTransformer": null)").device;
  EXPECT_EQ(device.mainBundle.kind, MainBundleSetup::Kind::empty);
  EXPECT_FALSE(device.location.has_value());
  EXPECT_EQ(device.urlTransformer.kind, UrlTransformerSetup::Kind::none);
}

TEST_F(ScriptReaderTest, AFixMayLeaveAltitudeAndTimeOpen) {
  const auto bare = withDevice(R"("location": {"latitude": -33.5, "longitude": 151})").device;
  EXPECT_EQ(bare.location->latitude, -33.5);
  EXPECT_EQ(bare.location->longitude, 151);
  EXPECT_TRUE(std::isnan(bare.location->altitude));
  EXPECT_FALSE(bare.location->timestamp.has_value());
  const auto full = step<LocationStep>(
      R"("do": "location", "latitude": 1, "longitude": 2, "altitude": 3.5,
         "timestamp": "1970-01-01T00:00:01Z")");
  EXPECT_EQ(full.fix->altitude, 3.5);
  EXPECT_EQ(full.fix->timestamp, Date(std::chrono::seconds(1)));
  EXPECT_TRUE(std::isnan(
      step<LocationStep>(
          R"("do": "location", "to": {"latitude": 1, "longitude": 2, "altitude": "NaN"})")
          .fix->altitude));
  for (const char* none : {R"("do": "location")", R"("do": "location", "to": null)",
                           R"("do": "location", "location": null, "settle": false)"})
    EXPECT_FALSE(step<LocationStep>(none).fix.has_value()) << none;
}

TEST_F(ScriptReaderTest, FaultsKnowWhatTheirPlaceDoes) {
  const auto faults = withDevice(R"("faults": [
    {"at": "performChanges", "error": "disk full", "times": 2},
    {"at": "performChanges", "returns": false},
    {"at": "performChanges", "noPlaceholder": true},
    {"at": "removeItem", "path": "sub/a.txt", "error": "busy"},
    {"at": "requestImageData", "returns": "nothing"},
    {"at": "export", "error": "no space"},
    {"at": "enumerator"}])")
                          .device.faults;
  ASSERT_EQ(faults.size(), 7U);
  EXPECT_EQ(faults[0].error, "disk full");
  EXPECT_EQ(faults[0].times, 2);
  EXPECT_FALSE(faults[0].returnsFalse);
  EXPECT_TRUE(faults[1].returnsFalse);
  EXPECT_EQ(faults[1].times, std::nullopt);
  EXPECT_TRUE(faults[2].noPlaceholder);
  EXPECT_FALSE(faults[2].returnsFalse);
  EXPECT_EQ(faults[3].path, "sub/a.txt");
  EXPECT_EQ(faults[4].at, FaultPoint::requestImageData);
  EXPECT_EQ(faults[5].at, FaultPoint::exportMovie);
  EXPECT_EQ(faults[6].at, FaultPoint::enumerator);
}

TEST_F(ScriptReaderTest, WhatIsLegalButOddIsTaken) {
  EXPECT_EQ(withDevice(R"("seed": 7.0)").device.seed, 7U);
  EXPECT_NE(withDevice(R"("seed": -1)").device.seed, withDevice(R"("seed": 1.5)").device.seed);
  EXPECT_EQ(withDevice(R"("location": {"latitude": 9})").device.location->longitude, 0);
  const auto faults = withDevice(R"("faults": [
    {"at": "removeItem", "path": "sub/", "times": 0}, {"at": "enumerator", "returns": "none"},
    {"at": "performChanges", "noPlaceholder": false}])")
                          .device.faults;
  EXPECT_EQ(faults[0].path, "sub");
  EXPECT_EQ(faults[0].times, 0);
  EXPECT_FALSE(faults[2].returnsFalse);
  EXPECT_EQ(faults[2].times, 0) << "it never strikes";
}

TEST_F(ScriptReaderTest, ArgumentsKeepTheKindOfEachNumber) {
  const auto arguments = step<CommandStep>(
                             R"("do": "takePicture", "as": "a",
             "arguments": [50.0, 0, null, true, "1", -9223372036854775808, 18446744073709551615])")
                             .arguments;
  ASSERT_EQ(arguments.size(), 7U);
  EXPECT_NE(arguments[0].real(), nullptr);
  EXPECT_NE(arguments[1].integer(), nullptr);
  EXPECT_TRUE(arguments[2].isNull());
  EXPECT_NE(arguments[3].boolean(), nullptr);
  EXPECT_NE(arguments[4].text(), nullptr);
  EXPECT_EQ(arguments[5], Value(std::numeric_limits<std::int64_t>::min()));
  EXPECT_EQ(arguments[6], Value(18446744073709551615.0));
}

TEST_F(ScriptReaderTest, CaptureAndPickSayWhatStandsInTheInfo) {
  const auto capture = step<CaptureStep>(
      R"("do": "capture", "photo": "photo.jpg", "crop": [1, 2.5, 30, 40], "metadata": false,
         "info": {"gone": null, "raw": {"bytes": "AAEC"}, "at": {"url": "file:///a"},
                  "deep": {"url": "x", "more": 1}})");
  EXPECT_EQ(capture.media, CaptureStep::Media::photo);
  EXPECT_EQ(capture.file, folder_ / "photo.jpg");
  EXPECT_EQ(capture.crop, (CGRect{1, 2.5, 30, 40}));
  EXPECT_FALSE(capture.metadata);
  ASSERT_EQ(capture.info.size(), 4U);
  EXPECT_TRUE(capture.info.at("gone").isNull());
  EXPECT_EQ(capture.info.at("raw"), Value(Data({0, 1, 2})));
  EXPECT_EQ(capture.info.at("at"), Value(URL("file:///a")));
  EXPECT_EQ(capture.info.at("deep"), Value(Dictionary{{"url", "x"}, {"more", 1}}));

  const auto pick = step<PickStep>(R"("do": "pick", "asset": "A", "referenceURL": false)");
  EXPECT_FALSE(pick.referenceURL);
  EXPECT_TRUE(pick.phAsset);
  EXPECT_FALSE(pick.crop.has_value());
  const auto movie = step<CaptureStep>(R"("do": "capture", "movie": "photo.jpg")");
  EXPECT_EQ(movie.media, CaptureStep::Media::movie);
  EXPECT_EQ(movie.file, folder_ / "photo.jpg");
  const auto scene = step<CaptureStep>(R"("do": "capture", "movie": {"seconds": 2.5})");
  EXPECT_EQ(scene.media, CaptureStep::Media::movie);
  EXPECT_TRUE(scene.file.empty());
  EXPECT_EQ(scene.seconds, 2.5);
}

TEST_F(ScriptReaderTest, ADataUrlIsAFileThatLivesAsLongAsTheScript) {
  fs::path file;
  {
    const auto script = parsed(
        R"({"steps": [{"do": "addAsset", "id": "A", "file": "data:text/plain;base64,AAEC"},
                      {"do": "capture", "photo": "data:;base64,"}]})");
    const auto& added = std::get<AddAssetStep>(script.steps[0].step);
    EXPECT_EQ(added.id, "A");
    file = added.file;
    EXPECT_EQ(fs::file_size(file), 3U);
    EXPECT_NE(std::get<CaptureStep>(script.steps[1].step).file, file);
  }
  EXPECT_FALSE(fs::exists(file));
  for (const std::string url : {"data:image/jpeg,AAEC", "data:image/jpeg;base64,?", "data:"})
    EXPECT_THAT(errorOf(R"({"steps": [{"do": "capture", "photo": ")" + url + R"("}]})"),
                HasSubstr("steps[0].photo: it is no data URL of Base64"));
}

TEST_F(ScriptReaderTest, AConfinedScriptNamesOnlyFilesOfItsFolder) {
  fs::create_directory(folder_ / "inner");
  std::ofstream(folder_ / "inner" / "in.jpg") << "bytes";
  fs::create_symlink(folder_ / "photo.jpg", folder_ / "inner" / "link.jpg");
  const auto isTaken = [this](const std::string& name) {
    const auto text = R"({"steps": [{"do": "capture", "photo": ")" + name + R"("}]})";
    return bool(scriptFromJson(*parseStrictJson(text), folder_ / "inner", FileScope::folder));
  };
  EXPECT_TRUE(isTaken("in.jpg"));
  EXPECT_TRUE(isTaken("data:;base64,AAEC"));
  for (const std::string& name :
       {std::string("../photo.jpg"), (folder_ / "photo.jpg").string(), std::string("link.jpg")})
    EXPECT_FALSE(isTaken(name)) << name;
}

TEST_F(ScriptReaderTest, AnswersAndSettingsMeanTheirOwnPermission) {
  EXPECT_TRUE(step<AnswerStep>(R"("do": "answer", "prompt": "location", "with": "allow")").allow);
  EXPECT_EQ(step<AnswerStep>(R"("do": "answer", "prompt": "photoLibrary", "with": "limited")")
                .photoLibrary,
            PHAuthorizationStatus::limited);
  for (const char* form : {R"("do": "authorize", "location": "denied")",
                           R"("do": "authorize", "to": {"location": "denied"})"}) {
    const auto authorize = step<AuthorizeStep>(form);
    EXPECT_EQ(authorize.location, location::LocationAuthorization::denied) << form;
    EXPECT_EQ(authorize.camera, std::nullopt) << form;
  }
}

TEST_F(ScriptReaderTest, TheArgumentOfACallFitsItsSelector) {
  const auto argumentOf = [this](const std::string& rest) {
    return step<CallStep>(R"("do": "call", "selector": )" + rest).argument;
  };
  EXPECT_EQ(argumentOf(R"("tempFilePath:", "argument": "jpg")"), Value("jpg"));
  EXPECT_EQ(argumentOf(R"("urlTransformer:", "argument": "/a b")"), Value(URL("/a b")));
  EXPECT_EQ(argumentOf(R"("urlTransformer:", "argument": {"url": "file:///a"})"),
            Value(URL("file:///a")));
  EXPECT_EQ(argumentOf(R"("getLocalizingString:", "argument": null)"), Value());
  EXPECT_EQ(argumentOf(R"("dispose")"), std::nullopt);
}

TEST_F(ScriptReaderTest, StepsKeepTheirOrderAndSettleByDefault) {
  const auto script = parsed(R"({"steps": [
    {"do": "advance", "seconds": 0.25, "settle": false}, {"do": "remove", "file": "a/b"},
    {"do": "urlTransformer", "to": "noDelegate"}, {"do": "viewController", "to": false}]})");
  ASSERT_EQ(script.steps.size(), 4U);
  EXPECT_EQ(std::get<AdvanceStep>(script.steps[0].step).by, std::chrono::milliseconds(250));
  EXPECT_FALSE(script.steps[0].settle);
  EXPECT_TRUE(script.steps[1].settle);
  EXPECT_EQ(std::get<RemoveStep>(script.steps[1].step).file, "a/b");
  EXPECT_EQ(std::get<UrlTransformerStep>(script.steps[2].step).to.kind,
            UrlTransformerSetup::Kind::noDelegate);
  EXPECT_FALSE(std::get<ViewControllerStep>(script.steps[3].step).to);
}

struct BadScript {
  std::string text;
  /// How the error's message begins.
  std::string error;
};

TEST_F(ScriptReaderTest, ABadScriptGetsItsPlaceAndCureInOneLine) {
  const auto device = [](const std::string& members) {
    return R"({"device": {)" + members + R"(}, "steps": []})";
  };
  const auto step = [](const std::string& members) {
    return R"({"steps": [{"do": "state"}, {)" + members + "}]}";
  };
  const std::vector<BadScript> table = {
      // The text.
      {"", "line 1, column 1: this is not JSON: "},
      {"{\n  \"steps\": [,]}", "line 2, column 13: this is not JSON: "},
      {"{\"é\": x}", "line 1, column 7: this is not JSON: "},
      {"{\"a\": \"\xff\"}", "line 1, column 8: this is not JSON: "},
      {"{\"steps\": [1e999]}", "line 1, column 16: this is not JSON: "},
      {R"({"steps": []} x)", "line 1, column 15: this is not JSON: "},
      {R"([[0, {"a": 1, "b c": [1, 2, {"d": {"e": 1, "e": 2}}]}]])",
       "[0][1][\"b c\"][2].d: the key \"e\" stands there twice"},
      {R"({"steps": [{"do": "tap", "do": "tap"}]})", "steps[0]: the key \"do\" stands there twice"},
      {std::string(70, '['), "it is nested more than 64 levels deep"},
      // The top.
      {"[]", "it must be an object, not a list"},
      {"{}", "the key \"steps\" is missing"},
      {R"({"step": []})", R"(unknown key "step"; did you mean "steps"?)"},
      {R"({"steps": {}})", "steps: it must be a list, not an object"},
      // The device.
      {device(R"("localle": "x")"), R"(device: unknown key "localle"; did you mean "locale"?)"},
      {device(R"("zzz": 1)"), R"(device: unknown key "zzz"; known here: "temporaryDirectory", )"},
      {device(R"("home": "/tmp")"), R"(device: unknown key "home")"},
      {device(R"("timeZone": "Mars/Base")"), "device.timeZone: \"Mars/Base\" is no IANA time zone"},
      {device(R"("locale": "xx_YYYYYY")"), "device.locale: \"xx_YYYYYY\" is no locale identifier"},
      {device(R"("clock": "yesterday")"), "device.clock: \"yesterday\" is no ISO 8601 instant"},
      {device(R"("seed": "1")"), "device.seed: "},
      {device(R"("languages": ["en", 5])"), "device.languages[1]: it must be a text, not a number"},
      {device(R"("availableSources": [18446744073709551615])"),
       "device.availableSources[0]: it is out of range"},
      {device(R"("availableMediaTypes": {"0x": []})"), "device.availableMediaTypes.0x: the key"},
      {device(R"("authorization": {"camera": "limited"})"),
       R"(device.authorization.camera: unknown text "limited")"},
      {device(R"("prompts": {"photoLibrary": "notDetermined"})"),
       R"(device.prompts.photoLibrary: unknown text "notDetermined")"},
      {device(R"("location": {"latitude": "9"})"), "device.location.latitude: it must be a number"},
      {device(R"("mainBundle": "photo.jpg")"), "device.mainBundle: \"photo.jpg\" in "},
      {device(R"("temporaryDirectory": "photo.jpg")"), "device.temporaryDirectory: "},
      {device(R"("temporaryDirectory": "/")"),
       "device.temporaryDirectory: \"/\" is shared with others; name a folder of its own"},
      {device(R"("temporaryDirectory": "")"), "device.temporaryDirectory: it must not be empty"},
      {device(R"("temporaryDirectory": "a\u0000b")"), "device.temporaryDirectory: a path cannot"},
      {device(R"("library": [{"id": "A", "file": "no.jpg"}])"),
       "device.library[0].file: there is no file \"no.jpg\" in "},
      {device(R"("library": [{"id": "A", "file": "photo.jpg"}, {"id": "A", "file": "photo.jpg"}])"),
       "device.library: the id \"A\" stands there twice"},
      {device(R"("urlTransformer": {"replace": ["a"]})"), "device.urlTransformer.replace: it must"},
      {device(R"("urlTransformer": "nothin")"),
       R"(device.urlTransformer: unknown text "nothin"; did you mean "nothing"?)"},
      {device(R"("viewController": 1)"),
       "device.viewController: it must be true or false, not a number"},
      // Faults.
      {device(R"("faults": [{"times": 1}])"), "device.faults[0]: the key \"at\" is missing"},
      {device(R"("faults": [{"at": "pngEncoder", "path": "a"}])"),
       "device.faults[0]: unknown key \"path\""},
      {device(R"("faults": [{"at": "export", "times": -1}])"),
       "device.faults[0].times: it must be"},
      {device(R"("faults": [{"at": "performChanges", "returns": true}])"),
       "device.faults[0].returns: it can only be false"},
      {device(R"("faults": [{"at": "jpgEncoder"}])"),
       R"(device.faults[0].at: unknown text "jpgEncoder"; did you mean "jpegEncoder"?)"},
      // Steps.
      {step(R"("as": "a")"), "steps[1]: the key \"do\" is missing"},
      {step(R"("do": "takePictre")"),
       R"(steps[1].do: unknown text "takePictre"; did you mean "takePicture"?)"},
      {step(R"("do": "takePicture")"), "steps[1]: the key \"as\" is missing"},
      {step(R"("do": "takePicture", "as": "a", "arguments": {})"), "steps[1].arguments: it must"},
      {step(R"("do": "cancel", "settle": 0)"), "steps[1].settle: it must be true or false"},
      {step(R"("do": "capture", "photoo": "photo.jpg")"),
       R"(steps[1]: unknown key "photoo"; did you mean "photo"?)"},
      {step(R"("do": "capture", "photo": "x.jpg")"),
       "steps[1].photo: there is no file \"x.jpg\" in "},
      {step(R"("do": "capture", "movie": "bundles")"), "steps[1].movie: \"bundles\" in "},
      {step(R"("do": "capture")"), "steps[1]: it needs exactly one of \"photo\" and \"movie\""},
      {step(R"("do": "capture", "photo": "photo.jpg", "movie": "photo.jpg")"),
       "steps[1]: it needs exactly one of"},
      {step(R"("do": "pick", "asset": "A", "crop": [0, 0, 0, 5])"), "steps[1].crop: it must be [x"},
      {step(R"("do": "pick", "asset": "A", "info": {"a": [{"bytes": "?"}]})"),
       "steps[1].info.a: a \"bytes\" in it is not Base64"},
      {step(R"("do": "answer", "prompt": "camera", "with": "authorized")"),
       R"(steps[1].with: unknown text "authorized")"},
      {step(R"("do": "location", "to": null, "latitude": 1)"), "steps[1]: the key \"to\" says it"},
      {step(R"("do": "urlTransformer")"), "steps[1]: the key \"to\" is missing"},
      {step(R"("do": "call", "selector": "tempFilePath")"),
       R"(steps[1].selector: unknown text "tempFilePath"; did you mean "tempFilePath:"?)"},
      {step(R"("do": "call", "selector": "dispose", "argument": 1)"),
       "steps[1].argument: the selector \"dispose\" takes no argument"},
      {step(R"("do": "call", "selector": "tempFilePath:")"),
       "steps[1]: the key \"argument\" is missing"},
      {step(R"("do": "call", "selector": "urlTransformer:", "argument": {"link": "a"})"),
       "steps[1].argument: it must be a text or {\"url\": \"...\"}"},
      {step(R"("do": "advance", "seconds": 1e300)"), "steps[1].seconds: it is out of range"},
      {step(R"("do": "remove", "file": "../a")"), "steps[1].file: \"../a\" is no name inside"},
  };
  for (const auto& [text, error] : table) {
    const auto message = errorOf(text);
    EXPECT_THAT(message, StartsWith(error)) << text;
    EXPECT_THAT(message, Not(HasSubstr("\n")));
  }
}

TEST_F(ScriptReaderTest, AMissingFileIsNamedWithItsFolder) {
  EXPECT_EQ(errorOf(R"({"steps": [{"do": "capture", "photo": "pics/x.jpg"}]})"),
            "steps[0].photo: there is no file \"x.jpg\" in " + (folder_ / "pics").string());
}

TEST_F(ScriptReaderTest, FileNamesStayInsideTheTemporaryDirectory) {
  for (const char* name :
       {"", "/", "/etc/a", "..", "../a", "a/../../b", "a//b", "./a", "a/.", "a\\u0000b"})
    EXPECT_THAT(
        errorOf(R"({"device": {"files": {")" + std::string(name) + R"(": ""}}, "steps": []})"),
        AllOf(StartsWith("device.files"), HasSubstr("is no name inside")))
        << name;
  EXPECT_EQ(errorOf(R"({"device": {"files": {"..a": "", "b..": "", ".c": ""}}, "steps": []})"), "");
  EXPECT_THAT(errorOf(R"({"device": {"files": {"a": "", "a/b": ""}}, "steps": []})"),
              HasSubstr("device.files: \"a\" is a file, so there can be no \"a/b\""));
  EXPECT_THAT(errorOf(R"({"device": {"files": {"a": "", "a/": ""}}, "steps": []})"),
              HasSubstr("device.files: \"a\" is a file"));
  EXPECT_THAT(errorOf(R"({"device": {"files": {"a/": "text"}}, "steps": []})"),
              HasSubstr("a folder (a name with a trailing slash) has no text"));
}

TEST_F(ScriptReaderTest, AStepByItselfHasPlacesOfItsOwnAndNoFileButThoseNamed) {
  const auto errorOfStep = [this](const std::string& text) {
    const auto read = stepFromJson(*parseStrictJson(text), folder_ / "bundles", FileScope::folder);
    return read ? "" : read.error().place + " | " + read.error().message;
  };
  EXPECT_EQ(errorOfStep(R"({"do": "tap", "action": "OK", "settle": false})"), "");
  EXPECT_EQ(errorOfStep(R"({"do": "hold", "at": "answer", "seconds": 0.5, "times": 0})"), "");
  EXPECT_THAT(errorOfStep(R"({"do": "hold", "at": "file"})"), StartsWith("at | unknown text"));
  EXPECT_THAT(errorOfStep(R"({"do": "hold", "at": "answer", "seconds": 0})"),
              StartsWith("seconds | "));
  EXPECT_EQ(errorOfStep(R"({"do": "hold", "at": "answer", "times": -1})"),
            "times | it must be 0 or more");
  EXPECT_THAT(errorOfStep(R"({"do": "tapp"})"), StartsWith("do | unknown text \"tapp\""));
  EXPECT_EQ(errorOfStep(R"({"do": "tap"})"), " | the key \"action\" is missing");
  EXPECT_EQ(errorOfStep("[]"), " | it must be an object, not a list");
  for (const std::string file : {"data:;base64,AAEC", "../photo.jpg"})
    EXPECT_THAT(errorOfStep(R"({"do": "capture", "photo": ")" + file + R"("})"),
                StartsWith("photo | "));
}

TEST_F(ScriptReaderTest, StepsOfPageCommandsOpenCallbacks) {
  EXPECT_TRUE(opensCallback(CommandStep{}));
  for (const Step& other : {Step(CaptureStep{}), Step(CallStep{}), Step(CreateStep{})})
    EXPECT_FALSE(opensCallback(other));
}

TEST_F(ScriptReaderTest, StatusesHaveTheNamesThatScriptsGiveThem) {
  using Library = PHAuthorizationStatus;
  for (const auto status : {Library::notDetermined, Library::restricted, Library::denied,
                            Library::authorized, Library::limited}) {
    const auto name = "\"" + std::string(nameOf(status)) + "\"";
    EXPECT_EQ(step<AuthorizeStep>(R"("do": "authorize", "photoLibrary": )" + name).photoLibrary,
              status);
    if (status == Library::limited) break;
    const auto authorize =
        step<AuthorizeStep>(R"("do": "authorize", "camera": )" + name + R"(, "location": )" + name);
    EXPECT_EQ(nameOf(*authorize.camera), nameOf(status));
    EXPECT_EQ(nameOf(*authorize.location), nameOf(status));
  }
}

TEST_F(ScriptReaderTest, AByteOrderMarkIsSkipped) {
  EXPECT_EQ(errorOf("\xEF\xBB\xBF{\"steps\": []}"), "");
}

TEST_F(ScriptReaderTest, RelativePathsStartFromTheFolderOfTheFile) {
  std::ofstream(folder_ / "flow.json")
      << R"({"steps": [{"do": "capture", "photo": "./bundles/../photo.jpg"}]})";
  const auto read = readScript(folder_ / "flow.json");
  ASSERT_TRUE(read) << read.error().description();
  EXPECT_EQ(std::get<CaptureStep>(read->steps.at(0).step).file, folder_ / "photo.jpg");
}

TEST_F(ScriptReaderTest, AFileThatCannotBeAScriptIsNamed) {
  const auto errorOfFile = [](const fs::path& path) {
    return readScript(path).error().description();
  };
  EXPECT_THAT(errorOfFile(folder_ / "none.json"), StartsWith("there is no such file"));
  EXPECT_THAT(errorOfFile(folder_), StartsWith("it is a folder, not a script"));
}

}  // namespace
}  // namespace vecamera::device::script
