#include "simulator/server/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "device/foundation/files/WholeFiles.h"
#include "device/script/assembly/Samples.h"
#include "device/script/script/ScriptReader.h"
#include "tests/simulator/server/TestApp.h"
#include "tests/simulator/server/TestFolder.h"

namespace vecamera::simulator {
namespace {

using Json = nlohmann::ordered_json;
using testing::HasSubstr;

Json takePicture(const std::string& name) {
  return {{"do", "takePicture"}, {"as", name}, {"arguments", {50, 1, 1}}};
}

std::string photoBytes() {
  const auto photo =
      device::foundation::readFile(device::script::samplesFolder() + "/first-photo.jpg", 1U << 20U);
  const auto bytes = photo->bytes();
  return {bytes.begin(), bytes.end()};
}

/// The beginning of an upload, from the page of the session.
std::string halfAnUpload(RunningServer& running, const Json& hello) {
  return "POST " + running.root() + "session/" + hello["session"].get<std::string>() +
         "/media?name=a.jpg HTTP/1.1\r\nHost: " + running.host() +
         "\r\nOrigin: " + running.origin() + "\r\nContent-Length: 100\r\n\r\nhalf of it";
}

bool hasSession(RunningServer& running, const std::string& session) {
  const auto answer =
      request(running.port(), "GET", running.root() + "session/" + session + "/media");
  return answer && answer->status != 404;
}

TEST(ServerTest, RefusesWhoeverIsNotItsOwnPage) {
  RunningServer running;
  TestSocket socket(running);
  const std::string session = socket.readUntil("hello")["session"];
  // It has begun.
  socket.readUntil("state");
  const auto& root = running.root();
  const auto media = root + "session/" + session + "/media?name=a.jpg";
  const auto own = running.origin();
  const struct {
    const char* what;
    const char* method;
    std::string target;
    Fields fields;
    int status;
  } cases[] = {
      {"another host", "GET", root, {{"Host", "evil.example"}}, 403},
      {"a host of another port", "GET", root, {{"Host", "127.0.0.1:1"}}, 403},
      {"two hosts", "GET", root, {{"Host", running.host()}, {"Host", "evil.example"}}, 400},
      {"two origins", "POST", media, {{"Origin", own}, {"Origin", "http://evil.example"}}, 400},
      {"no secret", "GET", "/", {}, 404},
      {"another secret", "GET", "/" + std::string(root.size() - 2, '0') + "/", {}, 404},
      {"part of the secret", "GET", root.substr(0, root.size() - 2) + "/", {}, 404},
      {"a way up", "GET", root + "../" + root, {}, 400},
      {"a written way up", "GET", root + "%2e%2e/x", {}, 400},
      {"a slash in a name", "GET", root + "assets%2f..%2f..%2fetc", {}, 400},
      {"no path", "GET", "*", {}, 400},
      {"another method", "PUT", root, {{"Origin", own}}, 405},
      {"a change of what is read only", "DELETE", root, {{"Origin", own}}, 405},
      {"a session that is read", "GET", root + "session", {}, 405},
      {"a session for elsewhere",
       "POST",
       root + "session",
       {{"Origin", "http://evil.example"}},
       403},
      {"a role that there is not",
       "GET",
       root + "ws?role=king",
       {{"Connection", "Upgrade"},
        {"Upgrade", "websocket"},
        {"Sec-WebSocket-Version", "13"},
        {"Sec-WebSocket-Key", "AAAAAAAAAAAAAAAAAAAAAA=="}},
       400},
      {"an upload from elsewhere", "POST", media, {{"Origin", "http://evil.example"}}, 403},
      {"an upload from the app", "POST", media, {{"Origin", "http://127.0.0.1:1"}}, 403},
      {"an upload from nowhere", "POST", media, {{"Origin", "null"}}, 403},
      {"media that are read", "GET", media, {}, 405},
      {"no such session", "GET", root + "session/0/library", {}, 404},
      {"a file outside", "GET", root + "session/" + session + "/files/..%2fx", {}, 400},
      {"no WebSocket", "GET", root + "ws", {}, 426},
      {"a picture of no size",
       "GET",
       root + "session/" + session + "/library/thumbnail?id=x",
       {},
       400},
      {"a picture that is not there",
       "GET",
       root + "session/" + session + "/library/thumbnail?id=x&side=9",
       {},
       404},
  };
  for (const auto& one : cases) {
    const auto answer = request(running.port(), one.method, one.target, one.fields);
    ASSERT_TRUE(answer) << one.what;
    EXPECT_EQ(answer->status, one.status) << one.what << ": " << answer->body;
    EXPECT_TRUE(Json::parse(answer->body)["error"].is_string()) << one.what;
    EXPECT_TRUE(Json::parse(answer->body)["code"].is_string()) << one.what;
    EXPECT_THAT(answer->header("Content-Security-Policy"), HasSubstr("default-src 'none'"));
    EXPECT_EQ(answer->header("X-Content-Type-Options"), "nosniff");
  }
  for (const auto* origin : {"http://evil.example", "null"}) {
    Fields upgrade = {{"Connection", "Upgrade"},
                      {"Upgrade", "websocket"},
                      {"Sec-WebSocket-Version", "13"},
                      {"Sec-WebSocket-Key", "AAAAAAAAAAAAAAAAAAAAAA=="}};
    upgrade.emplace_back("Origin", origin);
    EXPECT_EQ(request(running.port(), "GET", root + "ws", upgrade)->status, 403) << origin;
  }
  EXPECT_EQ(request(running.port(), "GET", root)->status, 200);
  EXPECT_EQ(request(running.port(), "GET", root.substr(0, root.size() - 1))->header("Location"),
            root + "");
}

TEST(ServerTest, RefusesRequestsThatAreTooLongOrNoRequests) {
  ServerSetup setup;
  setup.phone.media.fileBytes = 1000;
  setup.network.messageBytes = 2000;
  RunningServer running(std::move(setup));
  TestSocket socket(running);
  const std::string session = socket.readUntil("hello")["session"];
  const auto media = running.root() + "session/" + session + "/media?name=a.jpg";
  const Fields own = {{"Origin", running.origin()}};

  EXPECT_EQ(request(running.port(), "GET", running.root() + std::string(20000, 'x'))->status, 431);
  EXPECT_EQ(talk(running.port(), "nonsense\r\n\r")->status, 400);
  EXPECT_EQ(request(running.port(), "POST", media, own, std::string(1001, 'x'))->status, 413);
  Fields chunked = own;
  chunked.emplace_back("Transfer-Encoding", "chunked");
  chunked.emplace_back("Connection", "close");
  const auto head = [&] {
    std::string text = "POST " + media + " HTTP/1.1\r\nHost: " + running.host() + "\r\n";
    for (const auto& [name, value] : chunked) text += name + ": " + value + "\r\n";
    return text + "\r\n";
  }();
  const auto chunk = "200\r\n" + std::string(512, 'x') + "\r\n";
  EXPECT_EQ(talk(running.port(), head + chunk + chunk + "0\r\n\r\n")->status, 413);
  EXPECT_EQ(talk(running.port(), head + chunk + "0\r\n\r\n")->status, 200);

  EXPECT_EQ(socket.step({{"do", "library"}})["type"], "done");
  socket.send(Json{{"id", 9}, {"type", std::string(3000, 'x')}}.dump());
  while (socket.read()) {
  }
  TestSocket again(running, session);
  EXPECT_EQ(again.readUntil("hello")["session"], session) << "the phone is still there";
}

TEST(ServerTest, TakesMediaAndPlaysThem) {
  RunningServer running;
  TestSocket socket(running);
  const std::string session = socket.readUntil("hello")["session"];
  const auto base = running.root() + "session/" + session;
  const auto body = photoBytes();
  const auto upload = request(running.port(), "POST", base + "/media?name=a%20b.JPG",
                              {{"Origin", running.origin()}}, body);
  ASSERT_EQ(upload->status, 200) << upload->body;
  const auto media = Json::parse(upload->body);
  EXPECT_EQ(media["bytes"], body.size());

  EXPECT_EQ(socket.step(takePicture("a"))["type"], "done");
  EXPECT_EQ(socket.step({{"do", "capture"}, {"photo", media["file"]}})["type"], "done");
  EXPECT_EQ(socket.step({{"do", "addAsset"}, {"id", "X/L0/001"}, {"file", media["file"]}})["type"],
            "done");

  const auto list = Json::parse(request(running.port(), "GET", base + "/library")->body)["assets"];
  EXPECT_EQ(list.back()["id"], "X/L0/001");
  EXPECT_EQ(list.back()["bytes"], body.size());
  EXPECT_TRUE(list.back()["duration"].is_null());
  const auto original = request(running.port(), "GET", base + "/library/original?id=X%2FL0%2F001");
  EXPECT_EQ(original->body, body);
  EXPECT_THAT(original->header("Content-Security-Policy"), HasSubstr("sandbox"));
  const auto part = request(running.port(), "GET", base + "/library/original?id=X%2FL0%2F001",
                            {{"Range", "bytes=2-5"}});
  EXPECT_EQ(part->status, 206);
  EXPECT_EQ(part->body, body.substr(2, 4));
  const auto small =
      request(running.port(), "GET", base + "/library/thumbnail?id=X%2FL0%2F001&side=32");
  EXPECT_EQ(small->header("Content-Type"), "image/jpeg");
  EXPECT_LT(small->body.size(), body.size());

  const auto script = request(running.port(), "GET", base + "/script");
  EXPECT_THAT(script->header("Content-Disposition"), HasSubstr("attachment"));
  const auto parsed = device::script::parseScript(script->body, "/nonexistent");
  ASSERT_TRUE(parsed) << parsed.error().description();
}

TEST(ServerTest, GivesThePageWhatTheModuleAnsweredAndNothingElse) {
  const TestFolder folder;
  folder.write("app/index.html", "<h1>mine</h1>");
  folder.write("app/sub dir/index.html", "inner");
  folder.write("app/.env", "PASSWORD=1");
  folder.write("secret.txt", "secret");
  std::filesystem::create_symlink("../secret.txt", folder.path() / "app/out.txt");
  ServerSetup setup;
  setup.app = AppFolder{folder.path() / "app"};
  setup.record = folder.write("app/flow.json", "{}");
  RunningServer running(std::move(setup));
  TestSocket socket(running);
  const auto hello = socket.readUntil("hello");
  const TestApp app(hello);

  const auto index = app.get("/");
  EXPECT_EQ(index.body, "<h1>mine</h1>");
  EXPECT_EQ(index.header("Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(index.header("Content-Security-Policy"), "frame-ancestors " + running.origin() + "");
  const auto tag = index.header("ETag");
  EXPECT_EQ(app.get("/", {{"If-None-Match", tag}}).status, 304);
  EXPECT_EQ(app.get("/sub%20dir").header("Location"), "/sub%20dir/");
  EXPECT_EQ(app.get("/sub%20dir/").body, "inner");
  for (const auto* target : {"/out.txt", "/.env", "/missing", "/flow.json", "/flow-2.json",
                             "/.vecamera/", "/.vecamera/files/x/y", "/.vecamera/other"})
    EXPECT_EQ(app.get(target).status, 404) << target;
  EXPECT_EQ(app.get("/..%2fsecret.txt").status, 400);
  EXPECT_EQ(app.get("/", {{"Host", "evil.example"}}).status, 403);
  EXPECT_EQ(request(app.port, "GET", "/")->status, 403) << "without the cookie";
  EXPECT_EQ(request(app.port, "GET", "/", {{"Cookie", app.cookie + "0"}})->status, 403);
  EXPECT_EQ(request(app.port, "GET", "/.vecamera/enter?token=0")->status, 403);
  EXPECT_EQ(request(app.port, "POST", "/", {{"Cookie", app.cookie}})->status, 405);
  EXPECT_EQ(request(app.port, "GET", running.root(), {{"Cookie", app.cookie}})->status, 404)
      << "the simulator's pages are on its own origin";

  socket.step(takePicture("a"));
  const auto media = request(
      running.port(), "POST",
      running.root() + "session/" + hello["session"].get<std::string>() + "/media?name=a.jpg",
      {{"Origin", running.origin()}}, photoBytes());
  const Json capture = {{"do", "capture"}, {"photo", Json::parse(media->body)["file"]}};
  socket.send(Json{{"id", 91}, {"type", "step"}, {"step", capture}}.dump());
  std::string uri;
  for (auto message = socket.read(); message && (*message)["type"] != "done";
       message = socket.read())
    if ((*message)["type"] == "event" && (*message)["event"]["event"] == "answer")
      uri = (*message)["event"]["data"]["callbackURI"];
  const std::string origin = hello["appOrigin"];
  ASSERT_TRUE(uri.starts_with(origin + "/.vecamera/files/")) << uri;
  const auto answered = app.get(uri.substr(origin.size()));
  EXPECT_EQ(answered.status, 200);
  EXPECT_EQ(answered.header("Content-Type"), "image/jpeg");
  EXPECT_THAT(answered.header("Content-Security-Policy"), HasSubstr("default-src 'none'; sandbox"));
  EXPECT_EQ(answered.header("X-Content-Type-Options"), "nosniff");
  EXPECT_TRUE(answered.body.starts_with("\xff\xd8"));
}

TEST(ServerTest, SendsTheDevicePartThatAPhoneBeginsWith) {
  ServerSetup setup;
  setup.phone.device.requested = {{"locale", "de_DE"}, {"authorization", {{"camera", "denied"}}}};
  setup.phone.device.serverOwned = {{"seed", 7}};
  const auto asked = setup.phone.device.requested;
  RunningServer running(std::move(setup));
  TestSocket socket(running);
  EXPECT_EQ(socket.readUntil("hello")["device"], asked);
  EXPECT_EQ(socket.readUntil("state")["permissions"]["camera"], "denied");
}

TEST(ServerTest, NotifiesBrowsersThatTheAppHasChanged) {
  const TestFolder folder;
  folder.write("index.html", "a");
  ServerSetup setup;
  setup.app = AppFolder{folder.path()};
  RunningServer running(std::move(setup));
  TestSocket socket(running);
  socket.readUntil("state");
  folder.write("index.html", "changed");
  running.server().lookForChanges();
  EXPECT_EQ(socket.readUntil("reload")["type"], "reload");
}

TEST(ServerTest, KeepsAPhoneForABrowserThatComesBack) {
  RunningServer running;
  auto first = std::make_unique<TestSocket>(running);
  const std::string session = first->readUntil("hello")["session"];
  first->step(takePicture("a"));
  first->drop();
  TestSocket second(running, session);
  const auto hello = second.readUntil("hello");
  EXPECT_EQ(hello["session"], session);
  EXPECT_FALSE(hello["messages"].empty());
  EXPECT_EQ(second.readUntil("state")["screen"][0]["kind"], "picker");
  EXPECT_EQ(second.step({{"do", "cancel"}})["type"], "done");
  TestSocket unknown(running, "0123");
  EXPECT_NE(unknown.readUntil("hello")["session"], session);
}

TEST(ServerTest, EndsPhonesThatNobodyComesBackTo) {
  std::atomic<std::int64_t> seconds{0};
  ServerSetup setup;
  setup.now = [&seconds] {
    return std::chrono::steady_clock::time_point(std::chrono::seconds(seconds.load()));
  };
  RunningServer running(std::move(setup));
  TestSocket first(running);
  const std::string session = first.readUntil("hello")["session"];
  seconds = 10000;
  running.server().endIdleSessions();
  EXPECT_EQ(first.step({{"do", "library"}})["type"], "done") << "somebody is there";
  first.drop();
  // The server has to see that first.
  while (hasSession(running, session)) {
    seconds += 1000;
    running.server().endIdleSessions();
  }
}

TEST(ServerTest, MakesRoomForAPhoneWhereNobodyIsThere) {
  ServerSetup setup;
  setup.session.sessions = 1;
  RunningServer running(std::move(setup));
  TestSocket first(running);
  const std::string session = first.readUntil("hello")["session"];
  {
    TestSocket second(running);
    const auto bye = second.read();
    EXPECT_EQ((*bye)["type"], "bye");
    EXPECT_THAT((*bye)["why"], HasSubstr("phones already"));
    EXPECT_FALSE(second.read());
  }
  EXPECT_EQ(first.step({{"do", "library"}})["type"], "done");
  first.drop();
  // Until the server has seen that, there is no room.
  while ((*TestSocket(running).read())["type"] != "hello") {
  }
  EXPECT_FALSE(hasSession(running, session));
}

TEST(ServerTest, IsNotHeldUpByPhonesThatTakeTheirTimeToEnd) {
  // Both of the first two phones ask for the time in the middle of a step, and get no answer.
  std::atomic<int> askers{2};
  std::promise<void> release;
  const auto released = release.get_future().share();
  std::atomic<std::int64_t> seconds{0};
  ServerSetup setup;
  setup.phone.realTime = [&, released] {
    if (seconds > 0 && askers.fetch_sub(1) > 0) {
      askers.notify_all();
      released.wait();
    }
    return Date(std::chrono::seconds(1'700'000'000));
  };
  setup.now = [&seconds] {
    return std::chrono::steady_clock::time_point(std::chrono::seconds(seconds.load()));
  };
  RunningServer running(std::move(setup));
  Gate gate(release);
  TestSocket first(running);
  TestSocket second(running);
  TestSocket third(running);
  std::vector<std::string> names;
  for (auto* socket : {&first, &second, &third}) {
    names.push_back(socket->readUntil("hello")["session"]);
    socket->readUntil("state");
  }
  seconds = 1;
  for (auto* socket : {&first, &second}) {
    socket->send(R"({"id":1,"type":"step","step":{"do":"files"}})");
    const int left = socket == &first ? 2 : 1;
    askers.wait(left);
    socket->drop();
  }
  while (hasSession(running, names[0]) || hasSession(running, names[1])) {
    seconds += 1000;
    running.server().endIdleSessions();
  }
  const auto library = running.root() + "session/" + names[2] + "/library";
  const auto answer = request(running.port(), "GET", library);
  EXPECT_TRUE(answer && answer->status == 200);
  EXPECT_EQ(third.step({{"do", "files"}})["type"], "done");
  gate.open();
}

// In each of these, only the time that is meant is short, so that a slow test is in nobody's way.
constexpr std::chrono::milliseconds shortTime{300};

TEST(ServerTest, DisconnectsWhoeverDoesNotSendAWholeHeader) {
  ServerSetup setup;
  setup.network.headerTimeout = shortTime;
  RunningServer running(std::move(setup));
  EXPECT_EQ(readToEnd(running.port(), ""), "");
  EXPECT_EQ(readToEnd(running.port(),
                      "GET " + running.root() + " HTTP/1.1\r\nHost: " + running.host() + "\r\n"),
            "");
}

TEST(ServerTest, DisconnectsWhoeverStopsInTheMiddleOfABody) {
  ServerSetup setup;
  setup.network.bodyTimeout = shortTime;
  RunningServer running(std::move(setup));
  TestSocket socket(running);
  EXPECT_EQ(readToEnd(running.port(), halfAnUpload(running, socket.readUntil("hello"))), "");
}

TEST(ServerTest, DisconnectsABrowserThatDoesNotAnswerPings) {
  ServerSetup setup;
  setup.network.idleTimeout = shortTime;
  RunningServer running(std::move(setup));
  const auto sent =
      readToEnd(running.port(), "GET " + running.root() + "ws HTTP/1.1\r\nHost: " + running.host() +
                                    "\r\nOrigin: " + running.origin() +
                                    "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
                                    "Sec-WebSocket-Version: 13\r\n"
                                    "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n");
  EXPECT_TRUE(sent.starts_with("HTTP/1.1 101 ")) << sent;
  EXPECT_THAT(sent, HasSubstr(R"("type":"hello")"));
}

TEST(ServerTest, DoesNotTakeABrowserForIdleThatItDoesNotRead) {
  std::promise<void> holding;
  std::promise<void> release;
  std::atomic<int> asked{0};
  ServerSetup setup;
  setup.network.idleTimeout = shortTime;
  setup.network.bodyTimeout = 4 * shortTime;
  setup.session.pendingRequests = 1;
  // A phone asks when it begins, and before its first step.
  setup.phone.realTime = [&, released = release.get_future().share()] {
    if (++asked == 2) {
      holding.set_value();
      released.wait();
    }
    return Date(std::chrono::seconds(1'700'000'000));
  };
  RunningServer running(std::move(setup));
  Gate gate(release);
  TestSocket watcher(running);
  const auto hello = watcher.readUntil("hello");
  const std::string session = hello["session"];
  std::unique_ptr<TestSocket> socket;
  const auto held = holding.get_future();
  // A test that is slow between these lines is silent itself, and comes again.
  const auto isHeld = [&] {
    socket = std::make_unique<TestSocket>(running, session);
    for (const int id : {5, 6})
      socket->send(Json{{"id", id}, {"type", "step"}, {"step", {{"do", "files"}}}}.dump());
    return held.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
  };
  int attempts = 0;
  while (!isHeld()) ASSERT_LT(++attempts, 10);
  // The server gives it up after four times the silence that is allowed.
  EXPECT_EQ(readToEnd(running.port(), halfAnUpload(running, hello)), "");
  gate.open();
  EXPECT_EQ(socket->readUntil("done")["id"], 5);
  EXPECT_EQ(socket->readUntil("done")["id"], 6);
}

TEST(ServerTest, RepliesToTheTabThatAsked) {
  std::atomic<bool> isHeld{false};
  std::promise<void> release;
  const auto released = release.get_future().share();
  ServerSetup setup;
  setup.phone.realTime = [&isHeld, released] {
    if (isHeld.exchange(false)) {
      isHeld.notify_all();
      released.wait();
    }
    return Date(std::chrono::seconds(1'700'000'000));
  };
  RunningServer running(std::move(setup));
  Gate gate(release);
  TestSocket first(running);
  const std::string session = first.readUntil("hello")["session"];
  first.readUntil("state");
  isHeld = true;
  first.send(R"({"id":1,"type":"step","step":{"do":"files"}})");
  isHeld.wait(true);
  TestSocket second(running, session);
  EXPECT_EQ(second.readUntil("hello")["unfinished"], 1);
  EXPECT_THAT(first.readUntil("bye")["why"], HasSubstr("another tab"));
  second.send(R"({"id":1,"type":"step","step":{"do":"tap","action":"x"}})");
  gate.open();
  for (;;) {
    const auto message = second.read();
    ASSERT_TRUE(message);
    EXPECT_NE((*message)["type"], "done") << "that was the other tab's";
    if ((*message)["type"] == "failed") break;
  }
}

TEST(ServerTest, DisconnectsABrowserThatDoesNotTakeItsMessages) {
  ServerSetup setup;
  setup.network.queuedBytes = 100'000;
  setup.session.loggedBytes = 50'000;
  RunningServer running(std::move(setup));
  TestSocket socket(running);
  const std::string session = socket.readUntil("hello")["session"];
  // Each answer is an event of some 10 kB. The system's own buffers take megabytes of them.
  const auto text = Json{{"id", 1},
                         {"type", "step"},
                         {"step",
                          {{"do", "call"},
                           {"selector", "getLocalizingString:"},
                           {"argument", std::string(10'000, 'x')}}}}
                        .dump();
  int sent = 0;
  while (sent < 100'000 && socket.send(text)) ++sent;
  EXPECT_LT(sent, 100'000) << "the server let the messages pile up";
  // What the phone had taken on it carries out, and that may be too much for the next browser too.
  const auto isDone = [&] {
    const auto hello = TestSocket(running, session).read();
    return hello && (*hello)["unfinished"] == 0;
  };
  while (!isDone()) {
  }
  TestSocket again(running, session);
  EXPECT_EQ(again.readUntil("hello")["session"], session);
  EXPECT_EQ(again.step({{"do", "library"}})["type"], "done");
}

TEST(ServerTest, SaysGoodbyeWhenItIsStopped) {
  const TestFolder folder;
  const auto record = folder.path() / "flow.json";
  ServerSetup setup;
  setup.record = record;
  RunningServer running(std::move(setup));
  TestSocket first(running);
  TestSocket second(running);
  first.readUntil("state");
  second.readUntil("state");
  first.step(takePicture("a"));
  running.stop();
  EXPECT_EQ(first.readUntil("bye")["why"], "vecamera was stopped");
  EXPECT_FALSE(first.read());
  for (const auto* name : {"flow.json", "flow-2.json"})
    EXPECT_TRUE(device::script::readScript(folder.path() / name)) << name;
}

TEST(ServerTest, ServesFiftyPhonesAtOnce) {
  constexpr int phones = 50;
  RunningServer running;
  std::vector<std::unique_ptr<TestSocket>> sockets;
  for (int i = 0; i < phones; ++i) sockets.push_back(std::make_unique<TestSocket>(running));
  // Every request is on its way before the first reply is read.
  for (auto& socket : sockets) {
    ASSERT_TRUE(socket->isOpen());
    for (const auto& step : {takePicture("a"), Json{{"do", "cancel"}}, Json{{"do", "files"}}})
      ASSERT_TRUE(socket->send(Json{{"id", 1}, {"type", "step"}, {"step", step}}.dump()));
  }
  EXPECT_EQ(request(running.port(), "GET", running.root())->status, 200);
  for (auto& socket : sockets)
    for (int reply = 0; reply < 3; ++reply) EXPECT_EQ(socket->readUntil("done")["id"], 1);
}

TEST(ServerTest, HasNoMoreConnectionsThanItsLimit) {
  ServerSetup setup;
  setup.network.connections = 2;
  RunningServer running(std::move(setup));
  TestSocket first(running);
  TestSocket second(running);
  second.readUntil("state");
  EXPECT_FALSE(request(running.port(), "GET", running.root()));
  EXPECT_EQ(first.step({{"do", "library"}})["type"], "done");
}

TEST(ServerTest, CannotShareAPort) {
  RunningServer running;
  ServerSetup setup;
  setup.port.number = running.port();
  const auto made = Server::make(std::move(setup));
  ASSERT_FALSE(made);
  EXPECT_THAT(made.error().message, HasSubstr("--port"));
}

TEST(ServerTest, TakesAFreePortInThePlaceOfItsUsualOneAndSaysSo) {
  RunningServer running;
  std::string said;
  ServerSetup setup;
  setup.appPort = {running.port(), PortChoice::WhenTaken::takeFree};
  setup.phone.onDiagnostic = [&said](const std::string& line) { said += line; };
  RunningServer other(std::move(setup));
  EXPECT_THAT(said, HasSubstr("--app-port"));
  TestSocket socket(other);
  EXPECT_EQ(TestApp(socket.readUntil("hello")).navigate("/").status, 200);
}

}  // namespace
}  // namespace vecamera::simulator
