#include "simulator/server/sites/AppSite.h"

#include <algorithm>
#include <span>
#include <utility>

#include "device/foundation/Urls.h"
#include "simulator/server/http/Secrets.h"
#include "simulator/server/sites/EmbeddedFiles.h"

namespace vecamera::simulator {
namespace {

constexpr std::string_view ownFolder = ".vecamera";

Response notFound() {
  return errorResponse(404, "the app has no such file");
}

Response redirect(std::string address) {
  return {303, {{"Location", std::move(address)}, {"Cache-Control", "no-store"}}, {}};
}

/// A redirect to the folder's own address, which ends in a slash.
Response toFolder(const std::vector<std::string>& names) {
  std::string address;
  for (const auto& name : names) address += "/" + foundation::percentEncoded(name, "-_.");
  return redirect(address + "/");
}

Response demoFile(std::span<const std::string> names) {
  if (const auto* file = findEmbedded("web/demo", names))
    return embeddedResponse(*file, "no-cache");
  if (findEmbedded("web/demo", {}) != nullptr) return notFound();
  return textResponse(
      "The demo app is not part of this build of vecamera. Run ./run in the project's\nfolder, or "
      "show pages of your own: vecamera serve --app DIR\n");
}

class AppSite : public Site {
 public:
  AppSite(AppSiteSetup setup, SessionRegistry& sessions)
      : setup_(std::move(setup)), sessions_(sessions) {}

  HeaderFields commonFields(const Request& request) const override {
    return {{"Content-Security-Policy", "frame-ancestors http://" + ownHostName(request.host) +
                                            ":" + std::to_string(setup_.simulatorPort)},
            {"Cross-Origin-Resource-Policy", "same-site"}};
  }

  Reaction react(const Request& request) override {
    auto target = targetOf(request, setup_.port);
    if (!target) return std::move(target).error();
    if (request.method != Method::get || request.isWebSocket)
      return errorResponse(
          405, "this server hands out files only; the app's own services stay where they are");
    const auto& path = target->segments;
    if (path == std::vector<std::string>{std::string(ownFolder), "enter"}) return enter(*target);
    if (!hasEntered(request))
      return errorResponse(
          403, "open the address that vecamera serve printed, and the app comes up in it");
    if (!path.empty() && path.front() == ownFolder) return ownFile(*target);
    // ".git", ".env" and their like are nobody's pages.
    const bool isHidden = std::any_of(path.begin(), path.end(), [](const std::string& name) {
      return name.starts_with('.') && name != ".well-known";
    });
    return isHidden ? notFound() : appFile(*target);
  }

 private:
  Response enter(const RequestTarget& target) const {
    if (!sameSecret(target.queryValue("token"), setup_.token))
      return errorResponse(403, "the token is another run's; load the simulator's page again");
    auto response = redirect("/");
    response.fields.emplace_back(
        "Set-Cookie", cookieName() + "=" + setup_.token + "; Path=/; HttpOnly; SameSite=Strict");
    return response;
  }

  bool hasEntered(const Request& request) const {
    std::string_view rest = request.cookie;
    while (!rest.empty()) {
      auto item = rest.substr(0, rest.find(';'));
      rest.remove_prefix(std::min(rest.size(), item.size() + 1));
      while (item.starts_with(' ')) item.remove_prefix(1);
      const auto name = cookieName() + "=";
      if (item.starts_with(name) && sameSecret(item.substr(name.size()), setup_.token)) return true;
    }
    return false;
  }

  Response ownFile(const RequestTarget& target) const {
    const std::span path(target.segments);
    if (path.size() == 2 && (path[1] == "vecamera.js" || path[1] == "vecamera.js.map")) {
      if (const auto* file = findEmbedded("page", path.subspan(1)))
        return embeddedResponse(*file, "no-cache");
      return errorResponse(404, "the page bridge is not part of this build; run ./run to build it");
    }
    if (path.size() < 4 || path[1] != "files") return notFound();
    const auto session = sessions_.findByFileToken(path[2]);
    if (!session) return errorResponse(404, "that phone is gone, and its files with it");
    auto file = openConfined(session->phone().temporaryDirectory(), path.subspan(3));
    if (!file) return errorResponse(404, "the temporary directory has no such file (any more)");
    return sandboxed(fileResponse(*std::move(file), path.back(), "no-store"));
  }

  Response appFile(const RequestTarget& target) const {
    auto names = target.segments;
    if (!setup_.folder) return demoFile(names);
    if (!target.isFolder && isFolderConfined(*setup_.folder, names)) return toFolder(names);
    if (target.isFolder) names.emplace_back("index.html");
    auto path = *setup_.folder;
    for (const auto& name : names) path /= name;
    // What is recorded is no part of the app, wherever it is kept.
    if (setup_.recordings.has(path)) return notFound();
    auto file = openConfined(*setup_.folder, names);
    if (!file) return notFound();
    return fileResponse(*std::move(file), names.back(), "no-cache");
  }

  std::string cookieName() const { return "vecamera-" + std::to_string(setup_.port); }

  const AppSiteSetup setup_;
  SessionRegistry& sessions_;
};

}  // namespace

std::unique_ptr<Site> makeAppSite(AppSiteSetup setup, SessionRegistry& sessions) {
  return std::make_unique<AppSite>(std::move(setup), sessions);
}

}  // namespace vecamera::simulator
