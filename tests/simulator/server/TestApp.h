#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "tests/simulator/server/TestBrowser.h"

namespace vecamera::simulator {

/// The app's origin, as a browser comes to know it, and its cookie.
struct TestApp {
  explicit TestApp(const nlohmann::ordered_json& hello)
      : address(hello["app"]), origin(hello["appOrigin"]) {
    port = static_cast<std::uint16_t>(std::stoi(origin.substr(origin.rfind(':') + 1)));
    const auto entered = enter();
    if (entered.status != 303) throw std::runtime_error(entered.body);
    cookie = entered.header("Set-Cookie");
    cookie = cookie.substr(0, cookie.find(';'));
  }
  /// What the entrance answers, with this behind its token.
  Answer enter(const std::string& more = {}) const {
    return *request(port, "GET", address.substr(origin.size()) + more);
  }
  Answer ask(std::string_view method, const std::string& target, Fields fields = {},
             std::string_view body = {}) const {
    fields.emplace_back("Cookie", cookie);
    return request(port, method, target, fields, body).value_or(Answer());
  }
  Answer get(const std::string& target, Fields fields = {}) const {
    return ask("GET", target, std::move(fields));
  }
  /// As the frame of the phone asks for a page.
  Answer navigate(const std::string& target) const {
    return get(target, {{"Sec-Fetch-Dest", "iframe"}});
  }
  /// The head of a request, to which a body may be added.
  std::string head(std::string_view method, const std::string& target, Fields fields = {}) const {
    fields.emplace_back("Cookie", cookie);
    fields.emplace_back("Host", "127.0.0.1:" + std::to_string(port));
    std::string text = std::string(method) + " " + target + " HTTP/1.1\r\n";
    for (const auto& [name, value] : fields) text += name + ": " + value + "\r\n";
    return text + "\r\n";
  }

  std::string address;
  std::string origin;
  std::uint16_t port = 0;
  std::string cookie;
};

/// A server that runs, a phone on it, and its app.
struct RunningApp {
  explicit RunningApp(ServerSetup setup)
      : running(std::move(setup)), socket(running), app(socket.readUntil("hello")) {}
  RunningServer running;
  TestSocket socket;
  TestApp app;
};

}  // namespace vecamera::simulator
