#include "simulator/server/sites/AppSite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/server/TestApp.h"
#include "tests/simulator/server/TestFolder.h"

namespace vecamera::simulator {
namespace {

using testing::HasSubstr;
using testing::Not;

ServerSetup setupFor(const std::filesystem::path& folder,
                     UnknownPages unknownPages = UnknownPages::refused) {
  ServerSetup setup;
  setup.app = AppFolder{folder, unknownPages};
  return setup;
}

TEST(AppSiteTest, PutsItsScriptIntoPagesAndLeavesFilesAsTheyAre) {
  const TestFolder folder;
  folder.write("index.html", "<!doctype html><h1>mine</h1>");
  folder.write("data.json", "{}");
  RunningApp phone(setupFor(folder.path()));
  const auto page = phone.app.navigate("/");
  EXPECT_THAT(page.body, HasSubstr("<!doctype html><script src=\"/.vecamera/app.js\""));
  const auto file = phone.app.get("/index.html");
  EXPECT_EQ(file.body, "<!doctype html><h1>mine</h1>");
  EXPECT_NE(page.header("ETag"), file.header("ETag")) << "they are not the same";
  EXPECT_EQ(phone.app.navigate("/data.json").body, "{}");
  EXPECT_EQ(page.header("Origin-Agent-Cluster"), "?1");
}

TEST(AppSiteTest, ShowsTheIndexPageOfASinglePageAppForItsAddresses) {
  const TestFolder folder;
  folder.write("index.html", "<h1>index");
  folder.write("other.html", "<h1>other");
  RunningApp phone(setupFor(folder.path(), UnknownPages::indexPage));
  for (const auto* target : {"/", "/users/7", "/users/7/", "/a%20b?x=1"})
    EXPECT_THAT(phone.app.navigate(target).body, HasSubstr("<h1>index")) << target;
  EXPECT_THAT(phone.app.navigate("/other.html").body, HasSubstr("<h1>other"));
  EXPECT_EQ(phone.app.get("/users/7").status, 404) << "data, and no page";
  for (const auto* target : {"/missing.html", "/missing.js", "/.git/config"})
    EXPECT_EQ(phone.app.navigate(target).status, 404) << target;
}

TEST(AppSiteTest, ShowsPeopleWhatIsMissingAndTheCure) {
  const TestFolder folder;
  RunningApp phone(setupFor(folder.path()));
  const auto noIndex = phone.app.navigate("/");
  EXPECT_EQ(noIndex.status, 404);
  EXPECT_EQ(noIndex.header("Content-Type"), "text/html; charset=utf-8");
  EXPECT_THAT(noIndex.body, HasSubstr("no index.html"));
  folder.write("index.html", "");
  EXPECT_THAT(phone.app.navigate("/users/<7>&").body,
              testing::AllOf(HasSubstr("--spa"), HasSubstr("/users/&lt;7&gt;&amp;")));
  EXPECT_EQ(phone.app.get("/users").header("Content-Type"), "application/json");
}

TEST(AppSiteTest, OpensTheAppWhereItIsAskedTo) {
  const TestFolder folder;
  RunningApp phone(setupFor(folder.path()));
  EXPECT_EQ(phone.app.enter().header("Location"), "/");
  EXPECT_EQ(phone.app.enter("&to=%2Fa%3Fb%3D1%26c%23d").header("Location"), "/a?b=1&c#d");
  for (const auto* elsewhere : {"http://evil.example/", "%2F%2Fevil.example", "%2F%5Cevil.example",
                                "a", "%2Fa%0d%0aX:%20y", "%2Fa%20b"})
    EXPECT_EQ(phone.app.enter("&to=" + std::string(elsewhere)).status, 400) << elsewhere;
}

}  // namespace
}  // namespace vecamera::simulator
