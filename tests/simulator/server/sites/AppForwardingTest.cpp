#include "simulator/server/sites/AppForwarding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vecamera::simulator {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

constexpr const char* appOrigin = "http://127.0.0.1:7553";

std::unique_ptr<Forwarding> forwarding(AppForwarding::Purpose purpose,
                                       std::optional<std::string> userAgent = std::nullopt) {
  return forwardToDevServer({.server = {{"localhost", 5173}, "/"},
                             .appOrigin = appOrigin,
                             .purpose = purpose,
                             .scriptAddress = "http://127.0.0.1:7553/s.js",
                             .scriptMarkup = "<script src=s></script>",
                             .userAgent = std::move(userAgent),
                             .commonFields = {{"Origin-Agent-Cluster", "?1"},
                                              {"Cross-Origin-Resource-Policy", "same-site"}}});
}

/// The value of a field of a request when it arrives; nothing where it does not.
std::optional<std::string> sent(const std::string& name, const std::string& value,
                                AppForwarding::Purpose purpose = AppForwarding::Purpose::resource) {
  for (const auto& [key, result] : forwarding(purpose)->requestFields({{name, value}}))
    if (key == name) return result;
  return std::nullopt;
}

TEST(AppForwardingTest, SpeaksOfTheServerWhereTheBrowserSpeaksOfTheApp) {
  EXPECT_EQ(sent("Host", "127.0.0.1:7553"), "localhost:5173");
  EXPECT_EQ(sent("Origin", appOrigin), "http://localhost:5173");
  EXPECT_EQ(sent("Origin", "http://evil.example"), "http://evil.example");
  EXPECT_EQ(sent("Origin", "null"), "null");
  EXPECT_EQ(sent("Referer", std::string(appOrigin) + "/a"), "http://localhost:5173/a");
  EXPECT_EQ(sent("Referer", std::string(appOrigin) + "0/a"), std::string(appOrigin) + "0/a");
  EXPECT_EQ(sent("Cookie", "a=1; vecamera-7553=s; b=vecamera-1=2;vecamera-9=t"),
            "a=1; b=vecamera-1=2");
  EXPECT_EQ(sent("Cookie", "vecamera-7553=s"), std::nullopt);
  EXPECT_EQ(sent("Accept-Encoding", "gzip"), "gzip");
  EXPECT_EQ(sent("Accept-Encoding", "gzip", AppForwarding::Purpose::navigation), "identity");
  EXPECT_EQ(sent("If-None-Match", "x", AppForwarding::Purpose::navigation), std::nullopt);
}

TEST(AppForwardingTest, NamesAnotherBrowserWhereItIsAskedTo) {
  const HeaderFields fields = {{"User-Agent", "desk"}};
  const auto named = forwarding(AppForwarding::Purpose::resource, "phone")->requestFields(fields);
  EXPECT_THAT(named, Contains(Pair("User-Agent", "phone")));
  EXPECT_EQ(sent("User-Agent", "desk"), "desk");
}

TEST(AppForwardingTest, GivesTheBrowserWhatBelongsToTheApp) {
  const auto response =
      forwarding(AppForwarding::Purpose::resource)
          ->onResponse(200, {{"Set-Cookie", "a=1; Domain=localhost; Path=/; HttpOnly"},
                             {"Set-Cookie", "vecamera-7553=stolen"},
                             {"X-Frame-Options", "DENY"},
                             {"Content-Security-Policy", "frame-ancestors 'none'"},
                             {"Origin-Agent-Cluster", "?0"},
                             {"Cross-Origin-Resource-Policy", "cross-origin"},
                             {"Content-Type", "text/html"}});
  EXPECT_THAT(std::get<ForwardedResponse>(response).fields,
              testing::UnorderedElementsAre(Pair("Set-Cookie", "a=1; Path=/; HttpOnly"),
                                            Pair("Origin-Agent-Cluster", "?1"),
                                            Pair("Cross-Origin-Resource-Policy", "cross-origin"),
                                            Pair("Content-Type", "text/html")));
  EXPECT_EQ(std::get<ForwardedResponse>(response).insertion, "");
}

TEST(AppForwardingTest, PutsItsScriptIntoPlainHtmlOnly) {
  const auto page = forwarding(AppForwarding::Purpose::navigation);
  const auto insertion = [&](unsigned status, HeaderFields fields) {
    return std::get<ForwardedResponse>(page->onResponse(status, std::move(fields))).insertion;
  };
  EXPECT_THAT(insertion(404, {{"content-type", "text/html; charset=utf-8"}}), HasSubstr("nonce="));
  EXPECT_EQ(insertion(200, {{"Content-Type", "application/json"}}), "");
  EXPECT_EQ(insertion(206, {{"Content-Type", "text/html"}}), "");
  EXPECT_EQ(insertion(200, {{"Content-Type", "text/html"}, {"Content-Encoding", "br"}}), "");
}

TEST(AppForwardingTest, KeepsRedirectsInTheApp) {
  const auto app = std::string(appOrigin);
  const struct {
    std::string location;
    /// Empty: it leads off the app.
    std::string expected;
  } cases[] = {
      {"/login?x", "/login?x"},
      {"next", "next"},
      {"http://localhost:5173/a?b#c", app + "/a?b#c"},
      {"http://LOCALHOST:5173", app + "/"},
      {"http://127.0.0.1:5173/a", app + "/a"},
      {"http://[::1]:5173/a", app + "/a"},
      {"//localhost:5173/a", app + "/a"},
      {app + "/a", app + "/a"},
      {"http://localhost:5174/a", ""},
      {"https://localhost:5173/a", ""},
      {"http://login.example/", ""},
      {"//login.example/", ""},
      {"http://127.0.0.1:755/a", ""},
      {"mailto:a@b", ""},
  };
  for (const auto& [location, expected] : cases) {
    const HeaderFields fields = {{"Location", location}};
    auto response = forwarding(AppForwarding::Purpose::navigation)->onResponse(302, fields);
    if (expected.empty()) {
      const auto* own = std::get_if<Response>(&response);
      ASSERT_TRUE(own) << location;
      EXPECT_THAT(std::get<std::string>(own->body), HasSubstr(location));
      // A fetch of the page's is the browser's to judge.
      response = forwarding(AppForwarding::Purpose::resource)->onResponse(302, fields);
    }
    const auto* forwarded = std::get_if<ForwardedResponse>(&response);
    ASSERT_TRUE(forwarded) << location;
    EXPECT_THAT(forwarded->fields,
                Contains(Pair("Location", expected.empty() ? location : expected)));
  }
}

}  // namespace
}  // namespace vecamera::simulator
