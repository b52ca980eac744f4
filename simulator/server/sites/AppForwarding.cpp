#include "simulator/server/sites/AppForwarding.h"

#include <algorithm>
#include <span>
#include <utility>

#include "device/foundation/Urls.h"
#include "simulator/server/http/FramedPolicy.h"
#include "simulator/server/http/Secrets.h"
#include "simulator/server/sites/MessagePage.h"

namespace vecamera::simulator {
namespace {

std::string_view trimmed(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

/// The parts of a list divided by semicolons for which the predicate holds.
template <class Keep>
std::string keptParts(std::string_view list, Keep keep) {
  std::string kept;
  while (!list.empty()) {
    const auto end = std::min(list.find(';'), list.size());
    const auto part = trimmed(list.substr(0, end));
    list.remove_prefix(std::min(list.size(), end + 1));
    if (!part.empty() && keep(part)) kept += (kept.empty() ? "" : "; ") + std::string(part);
  }
  return kept;
}

std::string_view nameOf(std::string_view part) {
  return trimmed(part.substr(0, part.find('=')));
}

bool isOneOf(std::string_view name, std::span<const std::string_view> names) {
  return std::ranges::any_of(names, [name](auto other) { return sameWord(name, other); });
}

bool isRedirect(unsigned status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

class DevServerForwarding : public Forwarding {
 public:
  explicit DevServerForwarding(AppForwarding given) : given_(std::move(given)) {}

  const Upstream& upstream() const override { return given_.server.upstream; }

  HeaderFields requestFields(HeaderFields fields) const override {
    // A page is sent whole and as plain text, so that the script can be inserted.
    constexpr std::string_view notOfPages[] = {"Accept-Encoding", "Range", "If-Range",
                                               "If-None-Match", "If-Modified-Since"};
    HeaderFields sent = {{"Host", upstream().authority()}};
    for (auto& [name, value] : fields) {
      if (sameWord(name, "Host")) continue;
      if (isNavigation() && isOneOf(name, notOfPages)) continue;
      if (sameWord(name, "User-Agent") && given_.userAgent) value = *given_.userAgent;
      if (sameWord(name, "Origin") && value == given_.appOrigin) value = given_.server.origin();
      if (sameWord(name, "Referer") && value.starts_with(given_.appOrigin + "/"))
        value.replace(0, given_.appOrigin.size(), given_.server.origin());
      if (sameWord(name, "Cookie")) {
        value = keptParts(value, [](auto cookie) { return !isEntryCookie(nameOf(cookie)); });
        if (value.empty()) continue;
      }
      sent.emplace_back(std::move(name), std::move(value));
    }
    if (isNavigation()) sent.emplace_back("Accept-Encoding", "identity");
    return sent;
  }

  std::variant<ForwardedResponse, Response> onResponse(unsigned status,
                                                       HeaderFields fields) const override {
    if (given_.purpose == AppForwarding::Purpose::probe) return jsonResponse({{"reachable", true}});
    const InsertedScript script{given_.scriptAddress, randomToken()};
    const bool isPage = isNavigation() && status != 206 && isPlainHtml(fields);
    ForwardedResponse response;
    bool hasPolicyOfResources = false;
    for (auto& [name, value] : fields) {
      if (sameWord(name, "X-Frame-Options") || sameWord(name, "Origin-Agent-Cluster")) continue;
      if (sameWord(name, "Location") && isRedirect(status)) {
        const auto own = ownAddress(value);
        if (own) value = *own;
        if (!own && isNavigation()) return leavingPage(value);
      }
      if (sameWord(name, "Set-Cookie")) {
        if (isEntryCookie(nameOf(value.substr(0, value.find(';'))))) continue;
        value = keptParts(value, [](auto part) { return !sameWord(nameOf(part), "Domain"); });
      }
      if (sameWord(name, "Content-Security-Policy") ||
          sameWord(name, "Content-Security-Policy-Report-Only")) {
        value = framedPolicy(value, script);
        if (value.empty()) continue;
      }
      hasPolicyOfResources = hasPolicyOfResources || sameWord(name, "Cross-Origin-Resource-Policy");
      response.fields.emplace_back(std::move(name), std::move(value));
    }
    for (const auto& [name, value] : given_.commonFields)
      if (name != "Cross-Origin-Resource-Policy" || !hasPolicyOfResources)
        response.fields.emplace_back(name, value);
    if (isPage) {
      // Of the same address the page itself may ask for, and then without the script.
      response.fields.emplace_back("Vary", "Sec-Fetch-Dest");
      response.insertion = given_.scriptMarkup;
      constexpr std::string_view tag = "<script";
      response.insertion.insert(response.insertion.find(tag) + tag.size(),
                                " nonce=\"" + script.nonce + "\"");
    }
    return response;
  }

  Response unreachable() const override {
    const auto address = given_.server.origin();
    if (given_.purpose == AppForwarding::Purpose::probe)
      return jsonResponse({{"reachable", false}});
    if (!isNavigation())
      return errorResponse(502, "nothing answers at " + address + "; start your server");
    return messagePage(
        {503,
         "Waiting for your server",
         {"Nothing answers at <code>" + escapedHtml(address) + "</code>.",
          "Start your development server. This page comes up by itself as soon as it is there."},
         given_.scriptMarkup + "<script src=\"/.vecamera/waiting.js\" defer></script>\n"});
  }

  Response withoutResponse() const override {
    const auto address = given_.server.origin();
    if (!isNavigation())
      return errorResponse(502, "what answers at " + address + " sent no valid HTTP response");
    return messagePage({502,
                        "No page came",
                        {"Something answers at <code>" + escapedHtml(address) +
                             "</code>, but it sent no valid HTTP response.",
                         "Check the port, and whether the server speaks https there: the phone "
                         "speaks http. Then load the page again."},
                        given_.scriptMarkup});
  }

 private:
  bool isNavigation() const { return given_.purpose == AppForwarding::Purpose::navigation; }

  static bool isPlainHtml(const HeaderFields& fields) {
    bool isHtml = false;
    for (const auto& [name, value] : fields) {
      if (sameWord(name, "Content-Type"))
        isHtml = sameWord(trimmed(value.substr(0, value.find(';'))), "text/html");
      if (sameWord(name, "Content-Encoding") && !sameWord(value, "identity")) return false;
    }
    return isHtml;
  }

  /// The address of a redirect on the app's origin; nothing where it leads to another.
  std::optional<std::string> ownAddress(const std::string& location) const {
    const auto whole = location.starts_with("//") ? "http:" + location : location;
    if (whole.starts_with(given_.appOrigin + "/")) return location;
    const auto url = foundation::urlComponents(whole);
    // What is no URL is the browser's to refuse.
    if (!url || (!url->scheme && !url->host)) return location;
    const auto server = parseDevServer(whole);
    const bool isSame = server && server->upstream.port == upstream().port &&
                        (sameWord(server->upstream.host, upstream().host) ||
                         (server->isLoopback() && given_.server.isLoopback()));
    if (!isSame) return std::nullopt;
    return given_.appOrigin + server->start;
  }

  Response leavingPage(const std::string& location) const {
    return messagePage(
        {403,
         "The app was left",
         {"Your server redirects to <code>" + escapedHtml(location) + "</code>.",
          "That is not the app's own origin. The phone shows the app alone, as an app's container "
          "does, so the redirect is blocked here. Have the server stay on <code>" +
              escapedHtml(given_.server.origin()) + "</code> during development."},
         given_.scriptMarkup});
  }

  const AppForwarding given_;
};

}  // namespace

bool isEntryCookie(std::string_view name) {
  constexpr std::string_view prefix = "vecamera-";
  return name.starts_with(prefix) &&
         name.find_first_not_of("0123456789", prefix.size()) == std::string_view::npos;
}

std::unique_ptr<Forwarding> forwardToDevServer(AppForwarding forwarding) {
  return std::make_unique<DevServerForwarding>(std::move(forwarding));
}

}  // namespace vecamera::simulator
