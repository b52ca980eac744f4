#include "simulator/server/Server.h"

#include <unistd.h>

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
#include "simulator/server/sites/FolderFingerprint.h"
#include "simulator/server/sites/SimulatorSite.h"

namespace vecamera::simulator {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr std::chrono::milliseconds tickInterval{250};
constexpr int ticksPerWatch = 2;
constexpr std::size_t workerCount = 2;
/// How long the last messages may take to reach the browsers.
constexpr std::chrono::milliseconds closeTimeout{500};
constexpr std::chrono::milliseconds closeInterval{10};

device::Result<void, Error> listen(tcp::acceptor& acceptor, std::uint16_t port) {
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
  Error error;
  acceptor.open(endpoint.protocol(), error);
  if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) return Failure(error);
  return {};
}

class NetworkServer : public Server {
 public:
  explicit NetworkServer(ServerSetup setup)
      : setup_(std::move(setup)),
        network_{io_, workers_, setup_.network, setup_.phone.media.fileBytes},
        workers_(workerCount),
        simulatorAcceptor_(io_),
        appAcceptor_(io_),
        tick_(io_) {}

  ~NetworkServer() override { finish(); }

  ScriptResult<> open() {
    if (auto opened = take(setup_.port, simulatorAcceptor_, "--port",
                           "settings of the simulator's page begin anew");
        !opened)
      return opened;
    if (auto opened = take(setup_.appPort, appAcceptor_, "--app-port",
                           "what the app keeps in the browser (storage, cookies) begins anew");
        !opened)
      return opened;
    const auto port = simulatorAcceptor_.local_endpoint().port();
    const auto appPort = appAcceptor_.local_endpoint().port();
    address_ = "http://127.0.0.1:" + std::to_string(port) + "/" + secret_ + "/";
    const auto appToken = randomToken();
    sessions_.emplace(SessionRegistry::Setup{
        .phone = setup_.phone,
        .recordings = recordings_,
        .limits = setup_.session,
        .appPort = appPort,
        .appToken = appToken,
        .now = setup_.now,
        .post = [this](std::function<void()> job) { post(std::move(job)); },
        .dispose = [this](std::shared_ptr<Session> session) { dispose(std::move(session)); }});
    simulator_ = makeSimulatorSite({port, appPort, secret_}, *sessions_);
    app_ = makeAppSite({appPort, port, appToken, setup_.app, setup_.userAgent, recordings_},
                       *sessions_);
    return {};
  }

  std::string address() const override { return address_; }
  std::string addressAsJson() const override {
    return toLine({{"address", address_},
                   {"port", simulatorAcceptor_.local_endpoint().port()},
                   {"appPort", appAcceptor_.local_endpoint().port()},
                   {"pid", getpid()},
                   {"version", protocolVersion}});
  }

  void run() override {
    if (const auto* folder = appFolder()) hasChanged(folderFingerprint(folder->path, recordings_));
    // Before the first phone asks for them, as they take a moment.
    asio::post(workers_, [] { sampleMedia(); });
    accept(simulatorAcceptor_, *simulator_);
    accept(appAcceptor_, *app_);
    waitForTick();
    io_.run();
    finish();
  }

  void stop() override {
    post([this] { closeAll(); });
  }

  void endIdleSessions() override {
    post([this] { sessions_->endIdle(); });
  }

  void lookForChanges() override {
    post([this] { watch(); });
  }

 private:
  void post(std::function<void()> job) { asio::post(io_, std::move(job)); }

  /// Listens on the port, or on a free one where that may be and is said.
  ScriptResult<> take(PortChoice choice, tcp::acceptor& acceptor, const std::string& option,
                      const std::string& consequence) {
    auto open = listen(acceptor, choice.number);
    if (open) return {};
    const auto why =
        "the port " + std::to_string(choice.number) + " cannot be had: " + open.error().message();
    if (choice.whenTaken == PortChoice::WhenTaken::fail)
      return failed(why + "; choose another with " + option + ", or 0 for a free one");
    Error ignored;
    acceptor.close(ignored);
    open = listen(acceptor, 0);
    if (!open) return failed("no port can be had: " + open.error().message());
    setup_.phone.onDiagnostic(why + "; a free one is taken, and " + consequence + "; " + option +
                              " names one that stays");
    return {};
  }

  void closeAll() {
    if (std::exchange(isStopping_, true)) return;
    Error ignored;
    simulatorAcceptor_.close(ignored);
    appAcceptor_.close(ignored);
    sessions_->endAll({ErrorCode::stopped, "vecamera was stopped"});
    waitForConnections(std::chrono::steady_clock::now() + closeTimeout);
  }

  /// A developer's server reloads its pages by itself.
  const AppFolder* appFolder() const { return std::get_if<AppFolder>(&setup_.app); }

  void watch() {
    // What changes while no browser is connected is seen when one is.
    const auto* folder = appFolder();
    if (folder == nullptr || isWatching_ || !sessions_->isAnyConnected()) return;
    isWatching_ = true;
    asio::post(workers_, [this, folder] {
      const auto seen = folderFingerprint(folder->path, recordings_);
      post([this, seen] {
        isWatching_ = false;
        if (hasChanged(seen)) sessions_->sendToAll(R"({"type":"reload"})");
      });
    });
  }

  /// Until every connection has ended, or the time is up.
  void waitForConnections(std::chrono::steady_clock::time_point end) {
    const bool isOver = network_.connections == 0 || std::chrono::steady_clock::now() >= end;
    if (isOver) return io_.stop();
    tick_.expires_after(closeInterval);
    tick_.async_wait([this, end](Error) { waitForConnections(end); });
  }

  /// Phones and workers send to the context, so they end before it does.
  void finish() {
    if (sessions_) sessions_->endAll({ErrorCode::stopped, "vecamera was stopped"});
    endings_.clear();
    workers_.join();
  }

  /// A phone may be in the middle of something, so its end has a thread of its own, on which nobody
  /// waits but the end of the server.
  void dispose(std::shared_ptr<Session> session) {
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
  bool hasChanged(const FolderFingerprint& seen) {
    if (!seen.isWhole && !std::exchange(isSizeReported_, true))
      setup_.phone.onDiagnostic(
          "the app's folder has so many files that changes of some are not noticed; "
          "load the page anew yourself, or name a smaller folder");
    return std::exchange(fingerprint_, seen) != seen;
  }

  void accept(tcp::acceptor& acceptor, Site& site) {
    acceptor.async_accept(io_, [this, &acceptor, &site](Error error, tcp::socket socket) {
      if (!acceptor.is_open()) return;
      if (error) return acceptLater(acceptor, site);
      Error ignored;
      socket.set_option(tcp::no_delay(true), ignored);
      // One too many is closed at once, which its browser takes for a busy server.
      if (network_.connections < network_.limits.connections)
        serveHttp(boost::beast::tcp_stream(std::move(socket)), site, network_);
      accept(acceptor, site);
    });
  }

  /// The system is out of descriptors, say: asking again at once would help nobody.
  void acceptLater(tcp::acceptor& acceptor, Site& site) {
    const auto pause = std::make_shared<asio::steady_timer>(io_, tickInterval);
    pause->async_wait([this, pause, &acceptor, &site](Error) {
      if (acceptor.is_open()) accept(acceptor, site);
    });
  }

  void waitForTick() {
    tick_.expires_after(tickInterval);
    tick_.async_wait([this](Error error) {
      if (error || isStopping_) return;
      if (setup_.isCancelled && setup_.isCancelled()) return closeAll();
      sessions_->endIdle();
      if (++ticks_ % ticksPerWatch == 0) watch();
      waitForTick();
    });
  }

  const ServerSetup setup_;
  const std::string secret_ = randomToken();
  const RecordingFiles recordings_{setup_.record};
  std::string address_;
  // These stand before the context, whose connections refer to them until it ends.
  Network network_;
  std::optional<SessionRegistry> sessions_;
  std::unique_ptr<Site> simulator_;
  std::unique_ptr<Site> app_;
  asio::io_context io_{1};
  asio::thread_pool workers_;
  tcp::acceptor simulatorAcceptor_;
  tcp::acceptor appAcceptor_;
  asio::steady_timer tick_;
  /// Each waits for the end of its phone when it is destroyed.
  std::list<std::future<void>> endings_;
  FolderFingerprint fingerprint_;
  bool isSizeReported_ = false;
  bool isWatching_ = false;
  bool isStopping_ = false;
  int ticks_ = 0;
};

}  // namespace

ScriptResult<std::unique_ptr<Server>> Server::make(ServerSetup setup) {
  auto& phone = setup.phone;
  if (!phone.realTime) phone.realTime = [] { return foundation::SystemClock().now(); };
  if (!phone.onDiagnostic) phone.onDiagnostic = [](const std::string&) {};
  auto server = std::make_unique<NetworkServer>(std::move(setup));
  if (auto opened = server->open(); !opened) return opened.failure();
  return server;
}

}  // namespace vecamera::simulator
