#include "simulator/server/sites/SimulatorSite.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

#include "device/foundation/Dates.h"
#include "device/script/play/PlaySession.h"
#include "simulator/server/http/Secrets.h"
#include "simulator/server/sites/EmbeddedFiles.h"

namespace vecamera::simulator {
namespace {

using Segments = std::vector<std::string>;

constexpr int maxThumbnailSide = 2048;

Response notFound() {
  return errorResponse(404, "there is nothing here; open the address that vecamera serve printed");
}

Response pageFile(const RequestTarget& target) {
  if (findEmbedded("web", {}) == nullptr)
    return textResponse(
        "The phone's pages are not part of this build of vecamera. Run ./run in the project's\n"
        "folder: it builds them with Node.js and starts the phone.\n");
  const auto* file = findEmbedded("web", target.segments);
  // The demo app lives on the other origin.
  if (file == nullptr || file->name.starts_with("web/demo/")) return notFound();
  const bool isHashed = file->name.starts_with("web/assets/");
  return embeddedResponse(*file, isHashed ? "public, max-age=31536000, immutable" : "no-cache");
}

Response listLibrary(device::photos::LibraryStore& store) {
  const auto records = store.list();
  if (!records) return errorResponse(500, records.error().message);
  Json assets = Json::array();
  for (const auto& record : *records) {
    auto asset = script::assetToJson(record);
    asset["created"] = foundation::formatISO8601(record.created);
    asset["duration"] = record.durationSeconds ? Json(*record.durationSeconds) : Json();
    assets.push_back(std::move(asset));
  }
  return jsonResponse({{"assets", assets}});
}

Response thumbnail(device::photos::LibraryStore& store, const std::string& asset, int side) {
  const auto picture = store.thumbnail(asset, side);
  if (!picture) return errorResponse(404, picture.error().message);
  const auto bytes = picture->bytes();
  // An asset's bytes never change.
  return sandboxed(
      {200,
       {{"Content-Type", "image/jpeg"}, {"Cache-Control", "private, max-age=86400, immutable"}},
       std::string(bytes.begin(), bytes.end())});
}

Response original(device::photos::LibraryStore& store, const std::string& asset) {
  const auto path = store.originalFile(asset);
  if (!path) return errorResponse(404, path.error().message);
  const Segments name{path->filename().string()};
  auto file = openConfined(path->parent_path(), name);
  if (!file) return errorResponse(404, "the asset's file is gone");
  return sandboxed(fileResponse(*std::move(file), name.front(), "no-store"));
}

/// The recording as a file that the browser saves.
Response recordingFile(const Session& session, Phone& phone) {
  const Segments name{"script-" + randomToken() + ".json"};
  const std::filesystem::path folder = phone.folder();
  const auto written = phone.recording().writeTo(folder / name.front());
  auto file = openConfined(folder, name);
  unlink((folder / name.front()).c_str());
  if (!written)
    return errorResponse(500, "the recording cannot be written: " + written.error().message);
  if (!file) return errorResponse(500, "the recording's file is gone");
  auto response = fileResponse(*std::move(file), name.front(), "no-store");
  response.fields.emplace_back(
      "Content-Disposition",
      "attachment; filename=\"phone-" + session.identity().id.substr(0, 6) + ".json\"");
  return response;
}

/// The subprotocols of the header field.
std::vector<std::string> offeredProtocols(std::string_view field) {
  std::vector<std::string> offered;
  while (!field.empty()) {
    const auto end = field.find(',');
    auto one = field.substr(0, end);
    field.remove_prefix(end == std::string_view::npos ? field.size() : end + 1);
    while (!one.empty() && (one.front() == ' ' || one.front() == '\t')) one.remove_prefix(1);
    while (!one.empty() && (one.back() == ' ' || one.back() == '\t')) one.remove_suffix(1);
    if (!one.empty()) offered.emplace_back(one);
  }
  return offered;
}

class MediaUpload : public Upload {
 public:
  MediaUpload(std::shared_ptr<Session> session, std::unique_ptr<MediaFolder::Writer> writer)
      : session_(std::move(session)), writer_(std::move(writer)) {}
  device::Result<void, Response> write(std::span<const char> bytes) override {
    const auto written = writer_->write(bytes);
    if (written) return {};
    const auto& [kind, message] = written.error();
    return Failure(kind == MediaFolder::WriteError::Kind::disk
                       ? errorResponse(507, message)
                       : errorResponse(413, ErrorCode::limit, message));
  }
  Response finish() override {
    const auto bytes = writer_->bytes();
    return jsonResponse({{"file", writer_->finish()}, {"bytes", bytes}});
  }

 private:
  // Keeps the writer's folder.
  const std::shared_ptr<Session> session_;
  const std::unique_ptr<MediaFolder::Writer> writer_;
};

class SimulatorSite : public Site {
 public:
  SimulatorSite(SimulatorSiteSetup setup, SessionRegistry& sessions)
      : setup_(std::move(setup)), sessions_(sessions) {}

  HeaderFields commonFields(const Request& request) const override {
    const auto name = ownHostName(request.host);
    const auto app = "http://" + name + ":" + std::to_string(setup_.appPort);
    const auto media = "'self' blob: data: " + app;
    return {{"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; img-src " + media +
                 "; media-src " + media + "; connect-src 'self' ws://" + name + ":" +
                 std::to_string(setup_.port) + "; frame-src " + app +
                 "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
            {"Cross-Origin-Opener-Policy", "same-origin"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            // Apart from the app's process in the browser.
            {"Origin-Agent-Cluster", "?1"},
            {"Permissions-Policy", "camera=(self), microphone=(self), geolocation=(self)"}};
  }

  Reaction react(const Request& request) override {
    auto target = targetOf(request, setup_.port);
    if (!target) return std::move(target).error();
    if (target->segments.empty() || !sameSecret(target->segments.front(), setup_.secret))
      return notFound();
    target->segments.erase(target->segments.begin());
    const bool changes = request.method != Method::get;
    // Browsers name the origin of whatever changes something; a program that has the secret may
    // leave it out.
    if ((changes || request.isWebSocket) && !request.origin.empty() &&
        request.origin != "http://" + request.host)
      return errorResponse(403, "only the simulator's own pages may do this");
    // Relative addresses in the page start from the slash.
    if (target->segments.empty() && !target->isFolder)
      return Response{308, {{"Location", "/" + setup_.secret + "/"}}, {}};
    return reactTo(request, *target);
  }

 private:
  Reaction reactTo(const Request& request, const RequestTarget& target) {
    const auto& path = target.segments;
    if (path.size() > 1 && path[0] == "session") {
      const auto session = sessions_.find(path[1]);
      if (!session)
        return errorResponse(404, ErrorCode::noSession,
                             "there is no such session (any more); load the page again");
      return reactInSession(request, session, target);
    }
    if (path == Segments{"session"}) return makeSession(request);
    if (request.method != Method::get) return errorResponse(405, "this can only be read");
    if (path == Segments{"ws"} && !request.isWebSocket)
      return errorResponse(426, "this is the address of a WebSocket");
    if (path == Segments{"ws"}) return connect(request, target);
    if (request.isWebSocket) return notFound();
    return pageFile(target);
  }

  Reaction makeSession(const Request& request) {
    if (request.method != Method::post) return errorResponse(405, "a session is made with POST");
    const auto made = sessions_.make(ownHostName(request.host));
    if (!made) return errorResponse(503, made.error().code, made.error().message);
    const auto& identity = (*made)->identity();
    return jsonResponse(
        {{"session", identity.id},
         {"app", identity.app},
         {"appOrigin", identity.appOrigin},
         {"socket", "ws://" + request.host + "/" + setup_.secret + "/ws?session=" + identity.id},
         {"version", protocolVersion}});
  }

  Reaction connect(const Request& request, const RequestTarget& target) {
    ConnectionSetup setup;
    const auto role = target.queryValue("role");
    constexpr std::array roles = {Role::page, Role::driver, Role::observer};
    const auto* const known =
        std::find_if(roles.begin(), roles.end(), [&role](Role one) { return role == nameOf(one); });
    if (known == roles.end() && !role.empty())
      return errorResponse(400, "\"role\" is one of page, driver and observer");
    if (known != roles.end()) setup.role = *known;
    if (const auto after = target.queryValue("after"); !after.empty()) {
      std::int64_t n = 0;
      const auto* const end = after.data() + after.size();
      const auto [stop, error] = std::from_chars(after.data(), end, n);
      if (error != std::errc() || stop != end)
        return errorResponse(400, "\"after\" is the number of a message");
      setup.after = n;
    }
    const auto offered = offeredProtocols(request.webSocketProtocols);
    const auto newest = subprotocolOf(protocolVersion);
    if (std::find(offered.begin(), offered.end(), newest) != offered.end())
      setup.version = protocolVersion;
    else if (!offered.empty())
      return refuseConnection(
          {ErrorCode::version,
           "this page and the server are of different versions: reload this page"},
          offered.front());
    return sessions_.open(target.queryValue("session"), ownHostName(request.host), setup);
  }

  Reaction reactInSession(const Request& request, const std::shared_ptr<Session>& session,
                          const RequestTarget& target) {
    const Segments path(target.segments.begin() + 2, target.segments.end());
    auto& phone = session->phone();
    if (path == Segments{"media"}) {
      if (request.method != Method::post) return errorResponse(405, "media are sent with POST");
      auto writer = phone.media().begin(target.queryValue("name"));
      if (!writer) return errorResponse(413, ErrorCode::limit, writer.error().message);
      return std::make_unique<MediaUpload>(session, *std::move(writer));
    }
    if (request.method != Method::get) return errorResponse(405, "this can only be read");
    if (path == Segments{"script"})
      return DeferredResponse([session] { return recordingFile(*session, session->phone()); });
    if (path.size() > 1 && path[0] == "files") {
      auto file = openConfined(phone.temporaryDirectory(), std::span(path).subspan(1));
      if (!file) return errorResponse(404, "the temporary directory has no such file");
      return sandboxed(fileResponse(*std::move(file), path.back(), "no-store"));
    }
    if (path.empty() || path[0] != "library") return notFound();

    const auto store = phone.library();
    if (!store) return errorResponse(503, "the phone is starting; ask again");
    if (path.size() == 1) return DeferredResponse([store] { return listLibrary(*store); });
    const auto asset = target.queryValue("id");
    if (path == Segments{"library", "original"})
      return DeferredResponse([store, asset] { return original(*store, asset); });
    if (path == Segments{"library", "thumbnail"}) {
      const auto text = target.queryValue("side");
      int side = 0;
      std::from_chars(text.data(), text.data() + text.size(), side);
      if (side < 1) return errorResponse(400, "\"side\" is a number of pixels above 0");
      side = std::min(side, maxThumbnailSide);
      return DeferredResponse([store, asset, side] { return thumbnail(*store, asset, side); });
    }
    return notFound();
  }

  const SimulatorSiteSetup setup_;
  SessionRegistry& sessions_;
};

}  // namespace

std::unique_ptr<Site> makeSimulatorSite(SimulatorSiteSetup setup, SessionRegistry& sessions) {
  return std::make_unique<SimulatorSite>(std::move(setup), sessions);
}

}  // namespace vecamera::simulator
