#include "simulator/server/phone/Phone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <set>

#include "device/script/assembly/Samples.h"
#include "device/script/script/ScriptReader.h"
#include "simulator/server/phone/SampleMedia.h"
#include "tests/simulator/server/TestFolder.h"
#include "tests/simulator/server/TestPhone.h"
#include "tests/simulator/server/phone/Replay.h"

namespace vecamera::simulator {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

TEST(PhoneTest, PlaysARecordingToTheSameEvents) {
  TestPhone phone;
  const auto asset = sampleMedia()[1].identifier;
  const Json steps[] = {
      takePicture("file"),
      {{"do", "capture"}, {"photo", photoAsDataUrl()}},
      takePicture("bytes", "[100,0,1,64,64,1,0,true]"),
      {{"do", "capture"}, {"photo", photoAsDataUrl()}, {"crop", {10, 10, 200, 200}}},
      takePicture("cancelled"),
      {{"do", "cancel"}},
      takePicture("library", "[50,2,0]"),
      {{"do", "pick"}, {"asset", asset}},
      Json::parse(R"({"do":"faults","to":[{"at":"writeFile","error":"the disk is full"}]})"),
      takePicture("fault"),
      {{"do", "capture"}, {"photo", photoAsDataUrl()}},
      {{"do", "addAsset"}, {"id", "NEW/L0/001"}, {"file", photoAsDataUrl()}},
      {{"do", "removeAsset"}, {"asset", asset}},
      {{"do", "library"}},
      {{"do", "call"}, {"selector", "tempFilePath:"}, {"argument", "jpg"}},
      {{"do", "advance"}, {"seconds", 3600}},
      takePicture("located", "[50,1,1,null,null,0,0,false,false,true,null,0,true]"),
      {{"do", "capture"}, {"photo", photoAsDataUrl()}},
      {{"do", "location"}, {"latitude", 48.1}, {"longitude", 11.6}},
      {{"do", "files"}},
      {{"do", "state"}},
      {{"do", "cleanup"}, {"as", "clean"}},
  };
  for (const auto& step : steps) EXPECT_EQ(phone.whyNot(step), "") << step.dump();
  EXPECT_GT(phone.events().size(), 30U);
  expectSameReplay(phone);
}

TEST(PhoneTest, PlaysARecordingToTheSameEndWhereTheModuleEndsTheProcess) {
  TestPhone phone;
  phone.step(takePicture("a", "[50,1,1,null,null,0,0,false,false,false,null,0,true]"));
  phone.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  EXPECT_THAT(phone.whyNot({{"do", "location"}, {"to", nullptr}}), HasSubstr("ended the process"));
  EXPECT_THAT(phone.whyNot({{"do", "state"}}), HasSubstr("restart the device"));
  expectSameReplay(phone);
  EXPECT_EQ(phone.ask({{"type", "restart"}, {"device", Json::object()}})["type"], "done");
  EXPECT_EQ(phone.whyNot({{"do", "state"}}), "");
}

TEST(PhoneTest, RecordsWhatWaitsForATakenNameAndGoesOnWhenItIsFree) {
  TestPhone phone;
  ASSERT_EQ(
      phone.ask({{"type", "restart"}, {"device", {{"clock", "2024-05-01T12:30:00Z"}}}})["type"],
      "done");
  phone.step(takePicture("a"));
  phone.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  phone.step(takePicture("b"));
  phone.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  ASSERT_TRUE(phone.state()["waiting"].is_string());
  const auto& files = phone.state()["files"];
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0]["command"], "a");
  EXPECT_EQ(phone.whyNot({{"do", "remove"}, {"file", files[0]["name"]}}), "");
  EXPECT_TRUE(phone.state()["waiting"].is_null());
  EXPECT_EQ(phone.state()["files"][0]["command"], "b");
  expectSameReplay(phone);
}

TEST(PhoneTest, GoesOnByItselfWhenATakenNameIsFreedFromOutside) {
  TestPhone phone;
  phone.ask({{"type", "restart"}, {"device", {{"clock", "2024-05-01T12:30:00Z"}}}});
  for (const auto* name : {"a", "b"}) {
    phone.step(takePicture(name));
    phone.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  }
  const std::string name = phone.state()["files"][0]["name"];
  std::filesystem::remove(phone.phone().temporaryDirectory() + "/" + name);
  while (!phone.state()["waiting"].is_null()) phone.readUntil(PhoneMessage::Kind::state);
  EXPECT_THAT(phone.events().back(), HasSubstr(R"("to":"b")"));
}

TEST(PhoneTest, SendsItsStateInFull) {
  TestPhone phone;
  phone.ask(Json::parse(R"({"type":"restart","device":{
      "authorization":{"camera":"notDetermined","location":"denied"},
      "faults":[{"at":"jpegEncoder"},{"at":"settingsURL","times":0},{"at":"export","times":2}]}})"));
  phone.step(takePicture("a"));
  EXPECT_EQ(phone.state()["prompts"], Json::array({"camera"}));
  EXPECT_EQ(phone.state()["permissions"]["camera"], "notDetermined");
  EXPECT_EQ(phone.state()["permissions"]["location"], "denied");
  EXPECT_EQ(phone.state()["callbacks"][0]["name"], "a");
  EXPECT_EQ(phone.state()["callbacks"][0]["command"], "takePicture");
  EXPECT_THAT(phone.state()["callbacks"][0]["why"], HasSubstr("system prompt"));
  EXPECT_EQ(phone.state()["faults"],
            Json::parse(R"([{"at":"jpegEncoder"},{"at":"export","times":2}])"));
  EXPECT_EQ(phone.state()["clock"]["mode"], "real");
  EXPECT_EQ(phone.state()["location"]["running"], false);
  phone.step({{"do", "answer"}, {"prompt", "camera"}, {"with", "allow"}});
  const auto picker = phone.state()["screen"];
  ASSERT_EQ(picker.size(), 1U);
  EXPECT_EQ(picker[0]["kind"], "picker");
  EXPECT_TRUE(picker[0].contains("id"));
  EXPECT_THAT(phone.state()["prompts"], IsEmpty());
  phone.step({{"do", "cancel"}});
  EXPECT_THAT(phone.state()["screen"], IsEmpty());
  EXPECT_THAT(phone.state()["callbacks"], IsEmpty());
  // Two moves of the clock for three steps that were played, since one came first.
  EXPECT_EQ(phone.state()["recorded"], phone.phone().recording().steps());
}

TEST(PhoneTest, TracesTheServicesThatTheModuleUsed) {
  TestPhone phone;
  const auto traced = [&phone](const Json& options, std::string_view what) {
    EXPECT_EQ(phone.whyNot(options), "");
    EXPECT_EQ(phone.whyNot({{"do", "capture"}, {"photo", photoAsDataUrl()}}), "");
    for (const auto& message : phone.messages())
      if (message["type"] == "trace" && message["what"] == what) return message;
    return Json::object();
  };
  const auto encoded =
      traced(takePicture("a", "[50,1,1,32,32,0,0,false,false,true]"), "encodeJPEG");
  EXPECT_EQ(encoded["width"], 32);
  EXPECT_EQ(encoded["height"], 24);
  EXPECT_TRUE(encoded["ms"].is_number());
  EXPECT_EQ(encoded["bytes"], phone.state()["files"][0]["bytes"]);
  std::set<std::string> whats;
  std::int64_t n = 0;
  for (const auto& message : phone.messages()) {
    EXPECT_EQ(message["n"], n++) << "traces and events have one count";
    if (message["type"] == "trace") whats.insert(message["what"]);
  }
  EXPECT_THAT(
      whats, IsSupersetOf({"draw", "encodeJPEG", "writeFile", "performChanges", "urlTransformer"}));
  phone.step(Json::parse(R"({"do":"faults","to":[{"at":"writeFile","error":"full"}]})"));
  phone.step(takePicture("b", "[50,1,1,null,null,0,0,false,false,false,null,0,true]"));
  phone.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  phone.step({{"do", "location"}, {"latitude", 1}, {"longitude", 2}});
  EXPECT_EQ(phone.state()["faults"].size(), 1U);
  const auto failed = phone.messages();
  EXPECT_TRUE(std::any_of(failed.begin(), failed.end(), [](const Json& message) {
    return message.value("what", "") == "writeFile" && message.value("error", "") == "full";
  }));
}

TEST(PhoneTest, RefusesStepsAndStaysAsItIs) {
  TestPhone phone;
  const auto recorded = phone.phone().recording().steps();
  const struct {
    Json step;
    std::string_view why;
  } cases[] = {
      {{{"do", "dance"}}, "dance"},
      {{{"do", "capture"}, {"photo", "/etc/passwd"}}, "no such file"},
      {{{"do", "capture"}, {"photo", "../../etc/passwd"}}, "no such file"},
      {{{"do", "capture"}, {"photo", "media/1.jpg"}}, "no such file"},
      {{{"do", "addAsset"}, {"file", "media/../library.sqlite"}}, "no such file"},
      {{{"do", "capture"}, {"photo", "data:image/jpeg,AAAA"}}, "data URL"},
      {{{"do", "capture"}, {"photo", "data:image/jpeg;base64,A%A"}}, "data URL"},
      {{{"do", "capture"}, {"photo", 5}}, "text"},
      {{{"do", "remove"}, {"file", "../x"}}, "no name inside"},
      {{{"do", "tap"}, {"action", "x"}}, "no alert"},
  };
  for (const auto& [step, why] : cases)
    EXPECT_THAT(phone.whyNot(step), HasSubstr(why)) << step.dump();
  EXPECT_THAT(phone.events(), IsEmpty());
  // The last one could be read, so its moment came.
  EXPECT_EQ(phone.phone().recording().steps(), recorded + 1);
}

TEST(PhoneTest, RefusesToRestartWithWhatIsTheServersOwn) {
  TestPhone phone;
  for (const auto* key : {"temporaryDirectory", "mainBundle", "files", "urlTransformer"}) {
    const auto reply = phone.ask({{"type", "restart"}, {"device", {{key, nullptr}}}});
    EXPECT_EQ(reply["type"], "failed");
    EXPECT_THAT(reply["why"], HasSubstr(key));
  }
  const auto reply = phone.ask({{"type", "restart"}, {"device", {{"locale", "xx_nowhere"}}}});
  EXPECT_EQ(reply["type"], "failed");
  const auto outside = phone.ask(
      Json::parse(R"({"type":"restart","device":{"library":[{"id":"A","file":"/etc/passwd"}]}})"));
  EXPECT_THAT(outside["why"], HasSubstr("no such file"));
  for (const auto* library : {"5", "[5]", R"([{"file":5,"id":"A"}])", R"([{"id":"A"}])"}) {
    const Json device = {{"library", Json::parse(library)}};
    EXPECT_EQ(phone.ask({{"type", "restart"}, {"device", device}})["type"], "failed") << library;
  }
  const Json unnamed = {{"file", photoAsDataUrl()}, {"id", 5}};
  const Json device = {{"library", Json::array({unnamed})}};
  EXPECT_EQ(phone.ask({{"type", "restart"}, {"device", device}})["type"], "failed");
  EXPECT_EQ(phone.whyNot({{"do", "state"}}), "") << "the device is still there";
}

TEST(PhoneTest, KeepsOrRemovesTheLibraryWithARestart) {
  TestPhone phone;
  const auto assets = [&phone] { return phone.phone().library()->list()->size(); };
  EXPECT_EQ(assets(), sampleMedia().size()) << "a fresh phone has the samples";
  phone.step({{"do", "removeAsset"}, {"asset", sampleMedia()[0].identifier}});
  phone.ask({{"type", "restart"}, {"device", Json::object()}});
  EXPECT_EQ(assets(), sampleMedia().size() - 1);
  phone.ask({{"type", "restart"}, {"device", Json::object()}, {"keepLibrary", false}});
  EXPECT_EQ(assets(), 0U);
  const auto before = phone.state()["library"].get<int>();
  EXPECT_EQ(phone.ask({{"type", "restoreSamples"}})["type"], "done");
  EXPECT_EQ(assets(), sampleMedia().size());
  EXPECT_GT(phone.state()["library"].get<int>(), before);
  const auto steps = phone.phone().recording().steps();
  phone.ask({{"type", "restoreSamples"}});
  EXPECT_EQ(phone.phone().recording().steps(), steps) << "all of them are there";
  expectSameReplay(phone);
}

TEST(PhoneTest, RemovesItsFilesAtItsEnd) {
  const TestFolder folder;
  const auto record = folder.path() / "flow.json";
  PhoneSetup setup;
  setup.record = record;
  TestPhone phone(std::move(setup));
  phone.step(takePicture("a"));
  ASSERT_TRUE(std::filesystem::exists(phone.home()));
  phone.end();
  EXPECT_FALSE(std::filesystem::exists(phone.home()));
  const auto script = device::script::readScript(record);
  ASSERT_TRUE(script);
  EXPECT_TRUE(std::holds_alternative<device::script::CommandStep>(script->steps.back().step));
}

TEST(PhoneTest, WritesARecordingLaterWhereItCannotBeWrittenAtOnce) {
  const TestFolder folder;
  const auto record = folder.path() / "later/flow.json";
  PhoneSetup setup;
  setup.record = record;
  TestPhone phone(std::move(setup));
  phone.waitForDiagnostic("cannot be written");
  std::filesystem::create_directory(record.parent_path());
  phone.end();
  EXPECT_TRUE(device::script::readScript(record));
}

TEST(PhoneTest, ReplaysARecordingWithTheSameIdentifiers) {
  TestPhone first;
  const auto events = [](TestPhone& phone) {
    std::vector<std::string> lines;
    for (const auto& line : phone.events())
      lines.push_back(replaced(line, phone.phone().temporaryDirectory(), "TMP"));
    return lines;
  };
  first.step(takePicture("a", "[100,2,1]"));
  first.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  first.step({{"do", "addAsset"}, {"file", photoAsDataUrl()}});
  first.step({{"do", "library"}});
  const auto played = events(first);
  EXPECT_THAT(played, Contains(HasSubstr("assets-library:")));
  const TestFolder folder;
  const auto file = folder.path() / "recording.json";
  ASSERT_TRUE(first.phone().recording().writeTo(file));
  auto script = Json::parse(std::ifstream(file));
  script["device"].erase("urlTransformer");

  TestPhone second;
  ASSERT_TRUE(script["device"].contains("seed"));
  const Json restart = {{"type", "restart"}, {"device", script["device"]}, {"keepLibrary", false}};
  ASSERT_EQ(second.ask(restart)["type"], "done");
  for (const auto& step : script["steps"]) EXPECT_EQ(second.whyNot(step), "");
  EXPECT_EQ(events(second), played);
  expectSameReplay(second);
}

TEST(PhoneTest, StaysAsItIsWhenARestartIsRefused) {
  TestPhone phone;
  phone.step(takePicture("a"));
  const auto before = phone.state();
  const auto states = phone.states();
  const auto restart = Json::parse(
      R"({"type":"restart","keepLibrary":false,
          "device":{"library":[{"id":"A","file":"data:image/jpeg;base64,aGFsbG8="}]}})");
  EXPECT_THAT(phone.ask(restart)["why"], HasSubstr("no picture or movie"));
  EXPECT_EQ(phone.states(), states + 1) << "and it says how things stand";
  EXPECT_EQ(phone.state(), before);
  EXPECT_FALSE(phone.events().empty());
  EXPECT_EQ(phone.whyNot({{"do", "cancel"}}), "");
  expectSameReplay(phone);
}

TEST(PhoneTest, SaysWhyThereIsNoDeviceAndMakesOneWhenItCan) {
  const TestFolder folder;
  PhoneSetup setup;
  setup.home = folder.write("a file", "");
  TestPhone phone(std::move(setup));
  EXPECT_THAT(phone.state()["broken"], HasSubstr("a file"));
  EXPECT_THAT(phone.whyNot({{"do", "state"}}), HasSubstr("there is no device"));
  std::filesystem::remove(folder.path() / "a file");
  EXPECT_EQ(phone.ask({{"type", "restart"}, {"device", Json::object()}})["type"], "done");
  EXPECT_TRUE(phone.state()["broken"].is_null());
}

TEST(PhoneTest, HasAMovieAmongItsSamples) {
  TestPhone phone;
  const auto assets = *phone.phone().library()->list();
  const auto movies = std::count_if(assets.begin(), assets.end(), [](const auto& asset) {
    return asset.type == PHAssetResourceType::video;
  });
  EXPECT_EQ(movies, 1);
}

TEST(PhoneTest, RefusesWhatWouldMakeItGrowWithoutEnd) {
  PhoneSetup setup;
  setup.limits = {.recording = {.steps = 6}, .openCalls = 2, .calls = 4, .callBytes = 1000};
  TestPhone phone(setup);
  const auto restart = [&phone] { phone.ask({{"type", "restart"}, {"device", Json::object()}}); };
  phone.step(takePicture("a"));
  phone.step(takePicture("b"));
  for (const auto& step : {takePicture("c"), Json{{"do", "cleanup"}, {"as", "c"}}})
    EXPECT_THAT(phone.whyNot(step), HasSubstr("2 calls are open"));
  restart();
  EXPECT_TRUE(phone.state()["recordingEnded"].is_null());
  for (int i = 0; i < 4; ++i) EXPECT_EQ(phone.whyNot({{"do", "cleanup"}, {"as", "c"}}), "");
  EXPECT_THAT(phone.whyNot({{"do", "cleanup"}, {"as", "c"}}), HasSubstr("so many calls"));
  EXPECT_THAT(phone.state()["recordingEnded"], HasSubstr("6 steps"));
  EXPECT_THAT(phone.diagnostics(), HasSubstr("the recording has ended"));
  EXPECT_EQ(phone.state()["recorded"], 6);
  restart();
  EXPECT_THAT(phone.whyNot(takePicture("d", "[\"" + std::string(1000, 'x') + "\"]")),
              HasSubstr("so many calls"));
  phone.step(takePicture("e", "[50,1,1,null,null,0,1]"));
  EXPECT_THAT(phone.whyNot({{"do", "capture"}, {"movie", {{"seconds", 61}}}}),
              HasSubstr("60 seconds"));
  EXPECT_EQ(phone.whyNot({{"do", "capture"}, {"movie", {{"seconds", 0.2}}}}), "");
}

TEST(PhoneTest, LetsTheModuleReadNoFileOfTheMachine) {
  TestPhone phone;
  const TestFolder folder;
  const auto secret = folder.write("secret.mov", "x");
  const auto temporary = phone.phone().temporaryDirectory();
  phone.step(takePicture("a"));
  const auto why = [&phone](const std::string& url) {
    const Json info = {{"UIImagePickerControllerMediaURL", {{"url", url}}}, {"deep", {1, 2}}};
    return phone.whyNot({{"do", "capture"}, {"photo", photoAsDataUrl()}, {"info", info}});
  };
  std::filesystem::create_symlink(secret, temporary + "/link.mov");
  for (const auto& url : {"file://" + secret.string(), "FILE://" + secret.string(),
                          "file://localhost" + secret.string(), "file://" + temporary + "/../../x",
                          "file://" + temporary + "/%2e%2e/x", secret.string(),
                          "file://" + temporary + "/link.mov", "file://" + temporary + "x"})
    EXPECT_THAT(why(url), HasSubstr("no file of this phone")) << url;
  const Json nested = {{"list", Json::array({{{"url", "file://" + secret.string()}}})}};
  EXPECT_THAT(phone.whyNot({{"do", "pick"}, {"asset", "x"}, {"info", nested}}),
              HasSubstr("info.list"));
  EXPECT_EQ(why("file://" + temporary + "/a.jpg"), "");
}

/// The files in folders of the home whose names begin so, without those that mark a folder.
std::size_t filesIn(const std::filesystem::path& home, std::string_view prefix) {
  std::size_t count = 0;
  for (const auto& folder : std::filesystem::directory_iterator(home))
    if (folder.path().filename().string().starts_with(prefix))
      for (const auto& file : std::filesystem::directory_iterator(folder))
        count += file.path().filename().string().starts_with('.') ? 0 : 1;
  return count;
}

TEST(PhoneTest, KeepsNoFileThatNothingNeedsAnyMore) {
  TestPhone phone;
  const auto files = [&phone](std::string_view name) { return filesIn(phone.home(), name); };
  const auto samples = sampleMedia().size();
  EXPECT_EQ(files(".recording-"), samples);
  phone.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  EXPECT_EQ(files("media"), 0U) << "there was no camera";
  phone.step({{"do", "addAsset"}, {"id", "N/L0/001"}, {"file", photoAsDataUrl()}});
  EXPECT_EQ(files("media"), 1U) << "the recording needs it";
  phone.ask({{"type", "restart"}, {"device", Json::object()}});
  EXPECT_EQ(files("media"), 0U);
  EXPECT_EQ(files(".recording-"), samples + 1);
  phone.ask({{"type", "restart"}, {"device", Json::object()}, {"keepLibrary", false}});
  EXPECT_EQ(files(".recording-"), 0U);
}

TEST(PhoneTest, DropsUploadsThatARestartDoesNotName) {
  TestPhone phone;
  const auto upload = [&phone] {
    return *phone.phone().media().add(sampleMedia().front().contents, "a.jpg");
  };
  upload();
  const Json library = Json::array({{{"id", "A/L0/001"}, {"file", upload()}}});
  phone.ask({{"type", "restart"}, {"device", {{"files", nullptr}}}});
  EXPECT_EQ(filesIn(phone.home(), "media"), 2U) << "it was refused";
  EXPECT_EQ(phone.ask({{"type", "restart"}, {"device", {{"library", library}}}})["type"], "done");
  EXPECT_TRUE(phone.phone().library()->fetchByIdentifier("A/L0/001"));
  EXPECT_EQ(filesIn(phone.home(), "media"), 0U) << "what it named stands in the library by now";
}

TEST(PhoneTest, SharesTheLibraryOfAHomeAndNothingElse) {
  const TestFolder folder;
  PhoneSetup setup;
  setup.home = folder.path();
  setup.device.library = Json::array();
  setup.device.library->push_back(
      {{"id", "A/L0/001"}, {"file", device::script::samplesFolder() + "/first-photo.jpg"}});
  TestPhone first(setup);
  TestPhone second(setup);
  first.step({{"do", "addAsset"}, {"id", "B/L0/001"}, {"file", photoAsDataUrl()}});
  second.step({{"do", "library"}});
  EXPECT_THAT(second.events().back(), testing::AllOf(HasSubstr("A/L0"), HasSubstr("B/L0")));
  first.step(takePicture("a"));
  first.step({{"do", "capture"}, {"photo", photoAsDataUrl()}});
  EXPECT_EQ(first.state()["files"].size(), 1U);
  EXPECT_THAT(second.state()["files"], IsEmpty());
  const auto original = first.phone().library()->originalFile("A/L0/001");
  EXPECT_EQ(std::filesystem::hard_link_count(*original), 3U) << "nobody copies the home's library";
  second.end();
  expectSameReplay(first);
  first.end();
  EXPECT_EQ(std::filesystem::hard_link_count(*original), 1U);
  for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
    EXPECT_THAT(entry.path().filename(), testing::Not(HasSubstr("recording"))) << "is left behind";
}

TEST(PhoneTest, EndsTheRecordingWhereAnAssetCannotBeKept) {
  const TestFolder folder;
  PhoneSetup setup;
  setup.home = folder.path();
  TestPhone phone(setup);
  phone.step({{"do", "addAsset"}, {"id", "A/L0/001"}, {"file", photoAsDataUrl()}});
  std::filesystem::remove(*phone.phone().library()->originalFile("A/L0/001"));
  EXPECT_EQ(phone.ask({{"type", "restart"}, {"device", Json::object()}})["type"], "done");
  EXPECT_THAT(phone.state()["recordingEnded"], HasSubstr("A/L0/001"));
  EXPECT_THAT(phone.diagnostics(), HasSubstr("the recording has ended"));
}

/// A step with one thing about it changed.
Json mutated(Json step, std::mt19937& random) {
  const Json values[] = {nullptr,
                         true,
                         -1,
                         1e300,
                         "",
                         "media/1.jpg",
                         "../x",
                         Json::array(),
                         Json::array({1, 2, 3, 4}),
                         Json::object({{"seconds", 1e9}}),
                         photoAsDataUrl().substr(0, 400)};
  const char* keys[] = {"do",   "as",   "arguments", "photo", "asset",   "crop",  "info",
                        "with", "file", "to",        "id",    "seconds", "settle"};
  switch (random() % 3) {
    case 0: step[keys[random() % std::size(keys)]] = values[random() % std::size(values)]; break;
    case 1: step.erase(keys[random() % std::size(keys)]); break;
    default: break;
  }
  return step;
}

TEST(PhoneTest, RepliesToEveryStepHoweverOdd) {
  TestPhone phone;
  const Json steps[] = {
      takePicture("a"),
      takePicture("b", "[50,0,0]"),
      {{"do", "capture"}, {"photo", photoAsDataUrl()}},
      {{"do", "pick"}, {"asset", sampleMedia()[0].identifier}},
      {{"do", "cancel"}},
      {{"do", "tap"}, {"action", "OK"}},
      {{"do", "answer"}, {"prompt", "camera"}, {"with", "allow"}},
      {{"do", "authorize"}, {"camera", "notDetermined"}},
      {{"do", "location"}, {"latitude", 1}, {"longitude", 2}},
      Json::parse(R"({"do":"faults","to":[{"at":"bitmapContext","times":1}]})"),
      {{"do", "call"}, {"selector", "dispose"}},
      {{"do", "release"}},
      {{"do", "create"}},
      {{"do", "cleanup"}, {"as", "c"}},
  };
  std::mt19937 random(7);
  int done = 0;
  for (int i = 0; i < 400; ++i) {
    const auto step = mutated(steps[random() % std::size(steps)], random);
    const auto reply = phone.step(step);
    if (reply["type"] == "done") {
      ++done;
    } else {
      EXPECT_NE(reply["why"], "") << step.dump();
      if (std::string(reply["why"]).find("restart the device") != std::string::npos)
        phone.ask({{"type", "restart"}, {"device", Json::object()}});
    }
  }
  EXPECT_GT(done, 50);
  expectSameReplay(phone);
}

}  // namespace
}  // namespace vecamera::simulator
