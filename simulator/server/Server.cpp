#include "simulator/server/Server.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <future>
#include <list>
#include <system_error>
#include <utility>

#include "device/foundation/Clocks.h"
#include "simulator/server/http/Network.h"
#include "simulator/server/http/Secrets.h"
#include "simulator/server/phone/SampleMedia.h"
#include "simulator/server/sites/AppSite.h"
#include "simulator/server/sites/FolderWatch.h"
#include "simulator/server/sites/SimulatorSite.h"

namespace vecamera::simulator {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr std::chrono::milliseconds kTick{250};
constexpr int kTicksBetweenLooks = 2;
constexpr std::size_t kWorkers = 2;
/// How long the last messages may take to reach the browsers.
constexpr std::chrono::milliseconds kFarewell{500};
constexpr std::chrono::milliseconds kFarewellTick{10};

Error listen(tcp::acceptor& acceptor, std::uint16_t port) {
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
  Error error;
  acceptor.open(endpoint.protocol(), error);
  if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  return error;
}

}  // namespace

class Server::Inside {
 public:
  explicit Inside(ServerSetup setup)
      : setup_(std::move(setup)),
        network_{io_, workers_, networkLimits(setup_)},
        workers_(kWorkers),
        simulatorDoor_(io_),
        appDoor_(io_),
        tick_(io_) {}

  ~Inside() { finish(); }

  std::optional<std::string> open() {
    if (const auto error = listen(simulatorDoor_, setup_.port))
      return "the port " + std::to_string(setup_.port) + " cannot be had: " + error.message() +
             "; choose another with --port, or 0 for a free one";
    if (const auto error = listen(appDoor_, 0))
      return "no port can be had for the app: " + error.message();
    const auto port = simulatorDoor_.local_endpoint().port();
    const auto appPort = appDoor_.local_endpoint().port();
    address_ = "http://127.0.0.1:" + std::to_string(port) + "/" + secret_ + "/";
    const auto appToken = randomToken();
    sessions_.emplace(sessionsSetup(appPort, appToken));
    simulator_.emplace(SimulatorSite::Setup{port, appPort, secret_}, *sessions_);
    app_.emplace(AppSite::Setup{appPort, port, appToken, setup_.app, recordings_}, *sessions_);
    return std::nullopt;
  }

  const std::string& address() const { return address_; }

  void run() {
    if (setup_.app) see(folderFingerprint(*setup_.app, recordings_));
    // Before the first phone asks for them, as they take a moment.
    asio::post(workers_, [] { sampleMedia(); });
    accept(simulatorDoor_, *simulator_);
    accept(appDoor_, *app_);
    waitForTick();
    io_.run();
    finish();
  }

  void post(std::function<void()> job) { asio::post(io_, std::move(job)); }

  void stop() {
    if (std::exchange(isStopping_, true)) return;
    Error ignored;
    simulatorDoor_.close(ignored);
    appDoor_.close(ignored);
    sessions_->endAll("vecamera was stopped");
    waitForFarewell(std::chrono::steady_clock::now() + kFarewell);
  }

  void endIdleSessions() { sessions_->endIdle(); }

  void lookForChanges() {
    // What changes while nobody is there is seen when somebody is back.
    if (!setup_.app || isLooking_ || !sessions_->anybodyThere()) return;
    isLooking_ = true;
    asio::post(workers_, [this] {
      const auto seen = folderFingerprint(*setup_.app, recordings_);
      post([this, seen] {
        isLooking_ = false;
        if (see(seen)) sessions_->tellAll(R"({"type":"reload"})");
      });
    });
  }

 private:
  static NetworkLimits networkLimits(const ServerSetup& setup) {
    NetworkLimits limits;
    limits.connections = setup.maxConnections;
    limits.bodyBytes = setup.media.fileBytes;
    limits.messageBytes = setup.messageBytes;
    limits.waitingBytes = setup.waitingBytes;
    limits.headTime = setup.headTime;
    limits.pieceTime = setup.pieceTime;
    limits.silence = setup.silence;
    return limits;
  }

  SessionsSetup sessionsSetup(std::uint16_t appPort, const std::string& appToken) {
    SessionsSetup sessions;
    sessions.device = setup_.device;
    sessions.home = setup_.home;
    sessions.recordings = recordings_;
    sessions.maxSessions = setup_.maxSessions;
    sessions.limits = setup_.session;
    sessions.media = setup_.media;
    sessions.appPort = appPort;
    sessions.appToken = appToken;
    sessions.now = setup_.now;
    sessions.realTime = setup_.realTime;
    sessions.post = [this](std::function<void()> job) { post(std::move(job)); };
    sessions.letGo = [this](std::shared_ptr<Session> session) { letGo(std::move(session)); };
    sessions.diagnose = setup_.diagnose;
    return sessions;
  }

  /// Until every connection has ended, or the time is up.
  void waitForFarewell(std::chrono::steady_clock::time_point end) {
    const bool isOver = network_.connections == 0 || std::chrono::steady_clock::now() >= end;
    if (isOver) return io_.stop();
    tick_.expires_after(kFarewellTick);
    tick_.async_wait([this, end](Error) { waitForFarewell(end); });
  }

  /// Phones and workers send to the context, so they end before it does.
  void finish() {
    if (sessions_) sessions_->endAll("vecamera was stopped");
    endings_.clear();
    workers_.join();
  }

  /// A phone may be in the middle of something, so its end has a thread of its own, on which nobody
  /// waits but the end of the server.
  void letGo(std::shared_ptr<Session> session) {
    std::erase_if(endings_, [](const std::future<void>& ending) {
      return ending.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    auto end = [session = std::move(session)]() mutable {
      session->phone().finish();
      session.reset();
    };
    try {
      endings_.push_back(std::async(std::launch::async, end));
    } catch (const std::system_error&) {
      // The system has no more threads.
      asio::post(workers_, end);
    }
  }

  /// Whether the app's files are others than they were.
  bool see(const FolderFingerprint& seen) {
    if (!seen.isWhole && !std::exchange(toldOfSize_, true))
      setup_.diagnose(
          "the app's folder has so many files that changes of some are not noticed; "
          "load the page anew yourself, or name a smaller folder");
    return std::exchange(fingerprint_, seen) != seen;
  }

  void accept(tcp::acceptor& door, Site& site) {
    door.async_accept(io_, [this, &door, &site](Error error, tcp::socket socket) {
      if (!door.is_open()) return;
      if (error) return acceptLater(door, site);
      Error ignored;
      socket.set_option(tcp::no_delay(true), ignored);
      // One too many is let go at once, which its browser takes for a busy server.
      if (network_.connections < network_.limits.connections)
        serveHttp(boost::beast::tcp_stream(std::move(socket)), site, network_);
      accept(door, site);
    });
  }

  /// The system is out of descriptors, say: asking again at once would help nobody.
  void acceptLater(tcp::acceptor& door, Site& site) {
    const auto pause = std::make_shared<asio::steady_timer>(io_, kTick);
    pause->async_wait([this, pause, &door, &site](Error) {
      if (door.is_open()) accept(door, site);
    });
  }

  void waitForTick() {
    tick_.expires_after(kTick);
    tick_.async_wait([this](Error error) {
      if (error || isStopping_) return;
      if (setup_.interrupted && setup_.interrupted()) return stop();
      endIdleSessions();
      if (++ticks_ % kTicksBetweenLooks == 0) lookForChanges();
      waitForTick();
    });
  }

  const ServerSetup setup_;
  const std::string secret_ = randomToken();
  const RecordingFiles recordings_{setup_.record};
  std::string address_;
  // These stand before the context, whose connections refer to them until it ends.
  Network network_;
  std::optional<Sessions> sessions_;
  std::optional<SimulatorSite> simulator_;
  std::optional<AppSite> app_;
  asio::io_context io_{1};
  asio::thread_pool workers_;
  tcp::acceptor simulatorDoor_;
  tcp::acceptor appDoor_;
  asio::steady_timer tick_;
  /// Each waits for the end of its phone when it is destroyed.
  std::list<std::future<void>> endings_;
  FolderFingerprint fingerprint_;
  bool toldOfSize_ = false;
  bool isLooking_ = false;
  bool isStopping_ = false;
  int ticks_ = 0;
};

Server::Server(std::unique_ptr<Inside> inside) : inside_(std::move(inside)) {}

Server::~Server() = default;

std::variant<std::unique_ptr<Server>, std::string> Server::make(ServerSetup setup) {
  if (!setup.realTime) setup.realTime = [] { return device::foundation::SystemClock().now(); };
  if (!setup.diagnose) setup.diagnose = [](const std::string&) {};
  auto inside = std::make_unique<Inside>(std::move(setup));
  if (auto why = inside->open()) return *std::move(why);
  return std::unique_ptr<Server>(new Server(std::move(inside)));
}

std::string Server::address() const {
  return inside_->address();
}

void Server::run() {
  inside_->run();
}

void Server::stop() {
  inside_->post([this] { inside_->stop(); });
}

void Server::endIdleSessions() {
  inside_->post([this] { inside_->endIdleSessions(); });
}

void Server::lookForChanges() {
  inside_->post([this] { inside_->lookForChanges(); });
}

}  // namespace vecamera::simulator
