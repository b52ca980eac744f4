#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <map>
#include <set>

#include "device/foundation/Base64.h"
#include "device/script/script/ScriptReader.h"
#include "simulator/server/phone/SampleMedia.h"
#include "tests/simulator/server/TestFolder.h"
#include "tests/simulator/server/TestPhone.h"

namespace vecamera::simulator {
namespace {

using Json = nlohmann::ordered_json;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* withLocation = "[50,1,1,null,null,0,0,false,false,false,null,false,true]";

Json takePicture(const std::string& name, const std::string& arguments = "[50,1,1]") {
  return {{"do", "takePicture"}, {"as", name}, {"arguments", Json::parse(arguments)}};
}

Json capture() {
  static const auto url = device::foundation::Base64().base64EncodedString(
      "data:image/jpeg;base64,", sampleMedia().front().contents);
  return {{"do", "capture"}, {"photo", url}};
}

/// The names of the recording's steps, but for those that move the clock.
std::vector<std::string> recorded(TestPhone& phone) {
  const TestFolder folder;
  const auto file = folder.path() / "recording.json";
  EXPECT_TRUE(phone.phone().recording().writeTo(file));
  std::vector<std::string> names;
  const auto script = Json::parse(std::ifstream(file));
  for (const auto& step : script["steps"])
    if (step["do"] != "advance") names.push_back(step["do"]);
  return names;
}

Json restart(const Json& device) {
  return {{"type", "restart"}, {"device", device}};
}

TEST(PhoneProtocolTest, LogsACommandBeforeWhatItBringsAbout) {
  TestPhone phone;
  phone.step(takePicture("a", "[50,0,0]"));
  const auto command = phone.messages().at(0);
  EXPECT_EQ(command["type"], "command");
  EXPECT_EQ(command["name"], "a");
  EXPECT_EQ(command["command"], "takePicture");
  EXPECT_EQ(command["arguments"], Json::parse("[50,0,0]"));
  EXPECT_EQ(command["options"]["values"]["source"], "photoLibrary");
  EXPECT_FALSE(command.contains("refused"));
  EXPECT_EQ(phone.messages().at(1)["step"], command["step"]);
  phone.step({{"do", "cleanup"}, {"as", "b"}});
  EXPECT_TRUE(phone.messages("command").at(1)["options"].is_null());
}

TEST(PhoneProtocolTest, LogsARefusedCommandWithTheReason) {
  PhoneSetup setup;
  setup.limits.openCalls = 1;
  TestPhone phone(std::move(setup));
  const auto refusalOf = [&phone](const Json& step) {
    const auto reply = phone.step(step);
    EXPECT_EQ(reply["type"], "failed");
    const auto command = phone.messages("command").back();
    EXPECT_EQ(command["refused"]["why"], reply["why"]);
    EXPECT_EQ(command["refused"]["code"], reply["code"]);
    EXPECT_TRUE(command["step"].is_null());
    EXPECT_EQ(reply["through"], command["n"]);
    return command["refused"]["code"].get<std::string>();
  };
  EXPECT_EQ(refusalOf({{"do", "takePicture"}, {"as", "x"}, {"colour", 1}}), "badStep");
  phone.step({{"do", "release"}});
  EXPECT_EQ(refusalOf(takePicture("y")), "notNow");
  phone.step({{"do", "create"}});
  phone.step(takePicture("a"));
  EXPECT_EQ(refusalOf(takePicture("z")), "limit");
  EXPECT_EQ(phone.messages("command").size(), 4U);
}

TEST(PhoneProtocolTest, NamesTheCommandThatTheDeviceWorksFor) {
  TestPhone phone;
  // Its picture is saved to the album after its answer.
  phone.step(takePicture("a", "[50,1,1,32,32,0,0,false,false,true]"));
  auto unsettled = capture();
  unsettled["settle"] = false;
  phone.step(unsettled);
  phone.step(takePicture("b"));
  phone.step({{"do", "files"}});
  phone.step({{"do", "cancel"}});
  phone.step({{"do", "cleanup"}, {"as", "c"}});
  std::map<std::string, std::set<std::string>> commands;
  for (const auto& message : phone.messages()) {
    const auto what = message["type"] == "event" ? message["event"]["event"].get<std::string>()
                                                 : message.value("what", "");
    if (message["type"] == "event" || message["type"] == "trace")
      commands[what].insert(message["command"].is_null() ? "" : message["command"]);
    if (what == "answer") {
      EXPECT_EQ(message["command"], message["event"]["to"]);
    }
  }
  EXPECT_THAT(commands["present"], ElementsAre("a", "b"));
  EXPECT_THAT(commands["encodeJPEG"], ElementsAre("a"));
  EXPECT_THAT(commands["saved"], ElementsAre("a"));
  EXPECT_THAT(commands["removeFile"], ElementsAre("c"));
  EXPECT_THAT(commands["files"], ElementsAre(""));
}

TEST(PhoneProtocolTest, SaysWhatClosesACallback) {
  TestPhone phone;
  phone.ask(restart(
      {{"authorization", {{"camera", "notDetermined"}}}, {"availableSources", {0, 1, 2, 7}}}));
  const auto open = [&phone] { return phone.state()["callbacks"].at(0); };
  phone.step(takePicture("a", withLocation));
  EXPECT_EQ(open()["code"], "prompt");
  EXPECT_THAT(open()["endsWith"].get<std::string>(), HasSubstr("system prompt"));
  phone.step({{"do", "answer"}, {"prompt", "camera"}, {"with", "allow"}});
  EXPECT_EQ(open()["code"], "picker");
  EXPECT_THAT(open()["endsWith"].get<std::string>(), HasSubstr("backing out of the camera"));
  phone.step(capture());
  EXPECT_EQ(open()["code"], "location");
  EXPECT_EQ(open()["endsWith"], "A location update.");
  phone.step({{"do", "authorize"}, {"location", "denied"}});
  EXPECT_THAT(open()["endsWith"].get<std::string>(), HasSubstr("once the user allows"));
  phone.step(takePicture("b", "[50,1,7]"));
  EXPECT_EQ(phone.state()["callbacks"].at(1)["code"], "source");
  EXPECT_TRUE(phone.state()["callbacks"].at(1)["endsWith"].is_null());
}

TEST(PhoneProtocolTest, ReportsOnceThatACallbackIsLostForGood) {
  TestPhone phone;
  const auto closed = [&phone] {
    std::vector<std::string> lines;
    for (const auto& message : phone.messages("closed"))
      lines.push_back(message["name"].get<std::string>() + " " + message["by"].dump() + " " +
                      message["code"].get<std::string>());
    return lines;
  };
  phone.step(takePicture("a"));
  auto unsettled = takePicture("b");
  unsettled["settle"] = false;
  phone.step(unsettled);
  EXPECT_THAT(closed(), ElementsAre()) << "a may have its answer yet";
  phone.step(takePicture("c"));
  EXPECT_THAT(closed(), ElementsAre("a \"b\" replaced", "b \"c\" replaced"));
  phone.step({{"do", "release"}});
  phone.step({{"do", "create"}});
  EXPECT_THAT(closed(), ElementsAre("a \"b\" replaced", "b \"c\" replaced", "c null released"));
  phone.ask(restart(Json::object()));
  phone.step(takePicture("d", withLocation));
  phone.step(capture());
  phone.step({{"do", "location"}, {"to", nullptr}});
  EXPECT_THAT(closed(), ElementsAre("d null processEnded"));
  EXPECT_EQ(phone.state()["brokenCode"], "processEnded");
}

TEST(PhoneProtocolTest, RepliesWithTheLastMessageThatARequestBroughtAbout) {
  TestPhone phone;
  EXPECT_TRUE(phone.step({{"do", "authorize"}, {"location", "denied"}})["through"].is_null());
  const auto through = phone.step(takePicture("a"))["through"];
  EXPECT_EQ(through, phone.messages().back()["n"]);
}

TEST(PhoneProtocolTest, SaysWithACodeWhyARequestFails) {
  TestPhone phone;
  const struct {
    Json request;
    const char* code;
  } cases[] = {
      {{{"type", "dance"}}, "badRequest"},
      {{{"type", "step"}, {"step", {{"do", "dance"}}}}, "badStep"},
      {{{"type", "step"}, {"step", {{"do", "cancel"}}}}, "notNow"},
      {{{"type", "step"}, {"step", {{"do", "capture"}, {"photo", "media/1.jpg"}}}}, "noSuchFile"},
      {restart({{"files", nullptr}}), "forbidden"},
      {restart({{"locale", "xx_nowhere"}}), "badDevice"},
      {{{"type", "configure"}, {"changes", {{"colour", 1}}}}, "badRequest"},
      {{{"type", "configure"}, {"changes", {{"permissions", {{"camera", "maybe"}}}}}},
       "badRequest"},
      {{{"type", "restart"}, {"changes", Json::object()}, {"device", Json::object()}},
       "badRequest"},
  };
  for (const auto& [request, code] : cases) {
    const auto reply = phone.ask(request);
    EXPECT_EQ(reply["type"], "failed") << request;
    EXPECT_EQ(reply["code"], code) << reply;
  }
  EXPECT_TRUE(phone.state()["broken"].is_null());
  EXPECT_TRUE(phone.state()["brokenCode"].is_null());
}

TEST(PhoneProtocolTest, MergesChangesWithWhatIsInForceAndRecordsThemAsSteps) {
  TestPhone phone;
  EXPECT_EQ(phone.configure({{"faults", {{"writeFile", Json::object()}}}})["type"], "done");
  EXPECT_EQ(phone.configure({{"faults", {{"export", {{"times", 2}}}}}})["type"], "done");
  EXPECT_EQ(phone.state()["faults"],
            Json::parse(R"([{"at":"writeFile"},{"at":"export","times":2}])"));
  phone.configure({{"faults", {{"writeFile", nullptr}}},
                   {"permissions", {{"camera", "denied"}}},
                   {"location", {{"latitude", 1}, {"longitude", 2}}}});
  EXPECT_EQ(phone.state()["faults"], Json::parse(R"([{"at":"export","times":2}])"));
  EXPECT_EQ(phone.state()["permissions"]["camera"], "denied");
  EXPECT_EQ(phone.state()["permissions"]["photoLibrary"], "authorized");
  EXPECT_THAT(recorded(phone), ElementsAre("faults", "faults", "faults", "authorize", "location"));
  const Json half = {{"faults", {{"createFile", Json::object()}}}, {"location", 5}};
  EXPECT_EQ(phone.configure(half)["type"], "failed");
  EXPECT_EQ(phone.state()["faults"].size(), 1U) << "changes come together or not at all";
}

TEST(PhoneProtocolTest, RestartsWithChangesOfTheDeviceAsItStands) {
  TestPhone phone;
  phone.ask(restart({{"locale", "de_DE"}, {"languages", {"de"}}, {"seed", 5}}));
  phone.step({{"do", "authorize"}, {"camera", "denied"}});
  phone.configure({{"faults", {{"writeFile", Json::object()}}}});
  phone.ask(
      Json::parse(R"({"type":"restart","changes":{"locale":null,"timeZone":"Europe/Berlin"}})"));
  EXPECT_EQ(phone.state()["permissions"]["camera"], "denied");
  EXPECT_EQ(phone.state()["faults"].size(), 1U);
  const TestFolder folder;
  const auto file = folder.path() / "recording.json";
  ASSERT_TRUE(phone.phone().recording().writeTo(file));
  const auto device = Json::parse(std::ifstream(file))["device"];
  EXPECT_FALSE(device.contains("locale"));
  EXPECT_EQ(device["languages"], Json::array({"de"}));
  EXPECT_EQ(device["timeZone"], "Europe/Berlin");
  EXPECT_NE(device["seed"], 5) << "the assets of that seed are there already";
}

TEST(PhoneProtocolTest, AnswersPromptsByItselfAsRecordedSteps) {
  TestPhone phone;
  phone.ask(restart({{"authorization", {{"camera", "notDetermined"}}}}));
  phone.configure({{"prompts", {{"camera", "allow"}}}});
  const auto through = phone.step(takePicture("a"))["through"];
  EXPECT_EQ(phone.state()["prompts"], Json::array());
  EXPECT_EQ(phone.state()["screen"].at(0)["kind"], "picker");
  EXPECT_EQ(phone.state()["automatic"]["prompts"]["camera"], "allow");
  EXPECT_EQ(through, phone.messages().back()["n"]) << "the answer is part of the request";
  EXPECT_THAT(recorded(phone), ElementsAre("takePicture", "answer"));

  phone.ask(restart({{"authorization", {{"camera", "notDetermined"}}}}));
  phone.configure({{"automation", "off"}});
  phone.step(takePicture("b"));
  EXPECT_EQ(phone.state()["prompts"], Json::array({"camera"})) << "a replay plays the user";
  phone.configure({{"automation", "on"}});
  EXPECT_EQ(phone.state()["prompts"], Json::array());
}

TEST(PhoneProtocolTest, GivesLocationUpdatesByItselfAtTheirTime) {
  std::atomic<int> seconds = 0;
  PhoneSetup setup;
  setup.now = [&seconds] {
    return std::chrono::steady_clock::time_point(std::chrono::seconds(seconds));
  };
  TestPhone phone(std::move(setup));
  const Json late = {
      {"mode", "late"}, {"delay", 60}, {"fix", {{"latitude", 48}, {"longitude", 11}}}};
  phone.configure({{"locationUpdates", late}});
  phone.step(takePicture("a", withLocation));
  phone.step(capture());
  seconds = 59;
  phone.step({{"do", "files"}});
  EXPECT_EQ(phone.state()["callbacks"].size(), 1U) << "it is not time yet";
  seconds = 60;
  phone.step({{"do", "files"}});
  EXPECT_EQ(phone.state()["callbacks"].size(), 0U);
  EXPECT_THAT(recorded(phone), ElementsAre("takePicture", "capture", "files", "files", "location"));

  phone.configure({{"locationUpdates", {{"mode", "none"}}}});
  phone.step(takePicture("b", withLocation));
  phone.step(capture());
  EXPECT_EQ(phone.state()["location"]["running"], true);
  phone.configure({{"locationUpdates", {{"mode", "fix"}}}});
  EXPECT_EQ(phone.state()["callbacks"].size(), 0U) << "a manager that is running gets it, too";
}

TEST(PhoneProtocolTest, GivesALocationUpdateWithoutAnyRequest) {
  TestPhone phone;
  phone.configure({{"locationUpdates", {{"mode", "late"}, {"delay", 0.05}}}});
  phone.step(takePicture("a", withLocation));
  phone.step(capture());
  while (!phone.state()["callbacks"].empty()) phone.readUntil(PhoneMessage::Kind::state);
  EXPECT_THAT(phone.events().back(), HasSubstr("answer"));
}

}  // namespace
}  // namespace vecamera::simulator
