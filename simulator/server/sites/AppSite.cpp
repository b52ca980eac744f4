#include "simulator/server/sites/AppSite.h"

#include <unistd.h>

#include <algorithm>
#include <span>
#include <utility>

#include "device/foundation/Urls.h"
#include "simulator/server/http/ContentTypes.h"
#include "simulator/server/http/HtmlInsertion.h"
#include "simulator/server/http/Secrets.h"
#include "simulator/server/sites/AppForwarding.h"
#include "simulator/server/sites/EmbeddedFiles.h"
#include "simulator/server/sites/MessagePage.h"

namespace vecamera::simulator {
namespace {

constexpr std::string_view ownFolder = ".vecamera";
constexpr std::string_view scriptPath = "/.vecamera/app.js";
/// A longer page gets no script.
constexpr std::uint64_t maxPageBytes = 16U << 20U;

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

/// An address of this origin, as a browser writes it: path, query and fragment.
bool isOwnAddress(std::string_view address) {
  return address.starts_with('/') && !address.starts_with("//") &&
         std::ranges::all_of(address, [](char c) { return c > 0x20 && c < 0x7f && c != '\\'; });
}

/// The file's bytes; nothing where it cannot be read, or is too long.
std::optional<std::string> contentsOf(const ConfinedFile& file) {
  if (file.bytes > maxPageBytes) return std::nullopt;
  std::string contents(file.bytes, '\0');
  const auto read = pread(file.descriptor.number(), contents.data(), contents.size(), 0);
  if (read != static_cast<ssize_t>(contents.size())) return std::nullopt;
  return contents;
}

class AppSite : public Site {
 public:
  AppSite(AppSiteSetup setup, SessionRegistry& sessions)
      : setup_(std::move(setup)), sessions_(sessions) {}

  HeaderFields commonFields(const Request& request) const override {
    return {{"Content-Security-Policy", "frame-ancestors " + simulatorOrigin(request)},
            {"Cross-Origin-Resource-Policy", "same-site"},
            // A process of the app's own in the browser: a page that loops does not stop the phone.
            {"Origin-Agent-Cluster", "?1"}};
  }

  Reaction react(const Request& request) override {
    const auto* server = std::get_if<DevServer>(&setup_.source);
    auto target = targetOf(request, setup_.port);
    if (!target) {
      // A server of the developer's may have addresses that no file has.
      const bool isAddress =
          isOwnHost(request.host, setup_.port) && request.target.starts_with('/');
      if (server != nullptr && isAddress && hasEntered(request)) return forward(request, *server);
      return std::move(target).error();
    }
    const auto& path = target->segments;
    const bool isOwn = !path.empty() && path.front() == ownFolder;
    if (isOwn || server == nullptr) {
      if (request.method != Method::get || request.isWebSocket)
        return errorResponse(
            405, "this server hands out files only; the app's own services stay where they are");
    }
    if (path == std::vector<std::string>{std::string(ownFolder), "enter"}) return enter(*target);
    if (!hasEntered(request)) return notEntered(request);
    const bool isProbe = path == std::vector<std::string>{std::string(ownFolder), "upstream"};
    if (isProbe && server != nullptr)
      return forward(request, *server, AppForwarding::Purpose::probe);
    if (isOwn) return ownFile(*target);
    if (server != nullptr) return forward(request, *server);
    // ".git", ".env" and their like are nobody's pages.
    const bool isHidden = std::any_of(path.begin(), path.end(), [](const std::string& name) {
      return name.starts_with('.') && name != ".well-known";
    });
    auto response = isHidden ? notFound() : appFile(request, *target);
    if (!isNavigation(request)) return response;
    return response.status == 404 ? missingPage(request) : withScript(request, std::move(response));
  }

 private:
  std::string simulatorOrigin(const Request& request) const {
    return "http://" + ownHostName(request.host) + ":" + std::to_string(setup_.simulatorPort);
  }

  std::string appOrigin(const Request& request) const {
    return "http://" + ownHostName(request.host) + ":" + std::to_string(setup_.port);
  }

  std::string scriptMarkup(const Request& request) const {
    auto markup = "<script src=\"" + std::string(scriptPath) + "\" data-simulator=\"" +
                  simulatorOrigin(request) + "\"";
    if (setup_.userAgent) markup += " data-user-agent=\"" + escapedHtml(*setup_.userAgent) + "\"";
    return markup + "></script>";
  }

  Response enter(const RequestTarget& target) const {
    if (!sameSecret(target.queryValue("token"), setup_.token))
      return errorResponse(403, "the token is another run's; load the simulator's page again");
    const auto* server = std::get_if<DevServer>(&setup_.source);
    auto address = target.queryValue("to");
    if (address.empty()) address = server != nullptr ? server->start : "/";
    if (!isOwnAddress(address))
      return errorResponse(400, "\"to\" is a path of the app, with query and fragment");
    auto response = redirect(std::move(address));
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

  Response notEntered(const Request& request) const {
    if (!isNavigation(request))
      return errorResponse(
          403, "open the address that vecamera serve printed, and the app comes up in it");
    return messagePage({403,
                        "Open the phone instead",
                        {"The app comes up in the phone: open the address that <code>vecamera "
                         "serve</code> printed. Where the phone is open, load its page again."},
                        ""});
  }

  Reaction forward(const Request& request, const DevServer& server) const {
    return forward(request, server,
                   isNavigation(request) ? AppForwarding::Purpose::navigation
                                         : AppForwarding::Purpose::resource);
  }

  Reaction forward(const Request& request, const DevServer& server,
                   AppForwarding::Purpose purpose) const {
    const auto origin = appOrigin(request);
    return forwardToDevServer({.server = server,
                               .appOrigin = origin,
                               .purpose = purpose,
                               .scriptAddress = origin + std::string(scriptPath),
                               .scriptMarkup = scriptMarkup(request),
                               .userAgent = setup_.userAgent,
                               .commonFields = commonFields(request)});
  }

  Response ownFile(const RequestTarget& target) const {
    const std::span path(target.segments);
    if (path.size() == 2 && (path[1] == "vecamera.js" || path[1] == "vecamera.js.map")) {
      if (const auto* file = findEmbedded("page", path.subspan(1)))
        return embeddedResponse(*file, "no-cache");
      return errorResponse(404, "the page bridge is not part of this build; run ./run to build it");
    }
    if (path.size() == 2) {
      if (const auto* file = findEmbedded("web/app", path.subspan(1)))
        return embeddedResponse(*file, "no-cache");
      return notFound();
    }
    if (path.size() < 4 || path[1] != "files") return notFound();
    const auto session = sessions_.findByFileToken(path[2]);
    if (!session) return errorResponse(404, "that phone is gone, and its files with it");
    auto file = openConfined(session->phone().temporaryDirectory(), path.subspan(3));
    if (!file) return errorResponse(404, "the temporary directory has no such file (any more)");
    return sandboxed(fileResponse(*std::move(file), path.back(), "no-store"));
  }

  Response appFile(const Request& request, const RequestTarget& target) const {
    auto names = target.segments;
    const auto* folder = std::get_if<AppFolder>(&setup_.source);
    if (folder == nullptr) return demoFile(names);
    if (!target.isFolder && isFolderConfined(folder->path, names)) return toFolder(names);
    if (target.isFolder) names.emplace_back("index.html");
    auto response = folderFile(*folder, names);
    // A name with an extension is a file's that is missing, and no page of the app's.
    const bool isPageOfApp = response.status == 404 && isNavigation(request) &&
                             folder->unknownPages == UnknownPages::indexPage &&
                             (target.isFolder || extensionOf(names.back()).empty());
    return isPageOfApp ? folderFile(*folder, {"index.html"}) : std::move(response);
  }

  Response folderFile(const AppFolder& folder, const std::vector<std::string>& names) const {
    auto path = folder.path;
    for (const auto& name : names) path /= name;
    // What is recorded is no part of the app, wherever it is kept.
    if (setup_.recordings.has(path)) return notFound();
    auto file = openConfined(folder.path, names);
    if (!file) return notFound();
    return fileResponse(*std::move(file), names.back(), "no-cache");
  }

  /// A page of the app with the script in it; every other response as it is.
  Response withScript(const Request& request, Response response) const {
    const bool isPage =
        std::ranges::find(response.fields,
                          HeaderFields::value_type("Content-Type", "text/html; charset=utf-8")) !=
        response.fields.end();
    if (!isPage || response.status != 200) return response;
    std::optional<std::string> contents;
    if (const auto* file = std::get_if<ConfinedFile>(&response.body))
      contents = contentsOf(*file);
    else if (const auto* text = std::get_if<std::string_view>(&response.body))
      contents = *text;
    if (!contents) return response;
    for (auto& [name, value] : response.fields)
      // The same file without the script is another representation.
      if (name == "ETag") value.insert(value.size() - 1, "-page");
    response.fields.emplace_back("Vary", "Sec-Fetch-Dest");
    response.body = withInsertion(*contents, scriptMarkup(request));
    return response;
  }

  /// In the place of a page that is not there.
  Response missingPage(const Request& request) const {
    const auto address =
        "<code>" + escapedHtml(request.target.substr(0, request.target.find('?'))) + "</code>";
    const auto* folder = std::get_if<AppFolder>(&setup_.source);
    const std::vector<std::string> index = {"index.html"};
    if (folder != nullptr && !openConfined(folder->path, index))
      return messagePage(
          {404,
           "The folder has no index.html",
           {"<code>" + escapedHtml(folder->path.string()) +
                "</code> is served as the app, and it has no page to begin with.",
            "Put an <code>index.html</code> there, or name the folder that has one with "
            "<code>--app</code>, often <code>dist</code> or <code>build</code>. The address of a "
            "running development server can stand there, too."},
           scriptMarkup(request)});
    std::vector<std::string> paragraphs = {"The app has no page at " + address + "."};
    if (folder != nullptr && folder->unknownPages == UnknownPages::refused)
      paragraphs.emplace_back(
          "Where the app handles its addresses by itself, as a single-page app, start with "
          "<code>--spa</code>: unknown addresses then show <code>index.html</code>.");
    return messagePage({404, "No such page", std::move(paragraphs), scriptMarkup(request)});
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
