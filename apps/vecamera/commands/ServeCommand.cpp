#include "apps/vecamera/commands/Commands.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <iostream>
#include <mutex>

#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/WholeFiles.h"
#include "simulator/server/Server.h"

namespace vecamera::app {
namespace {

namespace fs = std::filesystem;
using device::Failure;

std::optional<fs::path> absolute(const std::optional<fs::path>& path) {
  std::error_code ignored;
  return path ? std::optional(fs::absolute(*path, ignored)) : std::nullopt;
}

AppResult<simulator::AppSource> serverOf(const ServeOptions& options) {
  auto server = simulator::parseDevServer(*options.app);
  if (!server) return Failure(*options.app + ": " + server.error().message);
  if (options.isSinglePage)
    return Failure(
        *options.app +
        ": --spa is for a folder; a server decides for itself what unknown addresses show");
  if (!server->isLoopback()) {
    if (!options.allowsRemoteApp)
      return Failure(*options.app +
                     ": only a server on this machine can be the app, unless --allow-remote-app is "
                     "given; then what the app sends travels there unencrypted");
    complain(server->upstream.host +
             " is not known to be this machine: what the app sends travels there unencrypted");
  }
  return *std::move(server);
}

AppResult<simulator::AppSource> folderOf(const ServeOptions& options) {
  const auto& app = *options.app;
  std::error_code ignored;
  if (!fs::is_directory(app, ignored)) {
    if (simulator::parseDevServer("http://" + app) && app.find(':') != std::string::npos)
      return Failure(app + ": it is no folder; a server's address is written http://" + app);
    return Failure(app +
                   ": it is no folder; --app names the one with your index.html, or the "
                   "address of your server");
  }
  if (!fs::exists(fs::path(app) / "index.html", ignored))
    complain(app +
             ": there is no index.html in it; put one there, or name the folder that has one "
             "(often dist or build) or the address of your development server");
  return simulator::AppFolder{fs::absolute(app, ignored), options.isSinglePage
                                                              ? simulator::UnknownPages::indexPage
                                                              : simulator::UnknownPages::refused};
}

AppResult<simulator::AppSource> appOf(const ServeOptions& options) {
  if (!options.app) {
    if (options.isSinglePage) return Failure(std::string("--spa needs the folder of --app"));
    return simulator::DemoApp();
  }
  return options.app->find("://") == std::string::npos ? folderOf(options) : serverOf(options);
}

simulator::PortChoice portOf(std::optional<std::uint16_t> asked, simulator::PortChoice otherwise) {
  return asked ? simulator::PortChoice{*asked} : otherwise;
}

AppResult<void> check(const ServeOptions& options) {
  std::error_code ignored;
  if (options.home && !device::foundation::ApplicationHome::open(options.home->string()))
    return Failure(options.home->string() +
                   ": it cannot be a device's home; name a folder of its own");
  if (options.record) {
    if (fs::is_directory(*options.record, ignored))
      return Failure(options.record->string() + ": it is a folder; --record names a file");
    const auto folder = fs::absolute(*options.record, ignored).parent_path();
    if (!fs::is_directory(folder, ignored) || access(folder.c_str(), W_OK) != 0)
      return Failure(options.record->string() +
                     ": its folder cannot be written; choose another for --record");
  }
  return {};
}

/// Has the desktop's browser open a page of the folder that leads to the address. The address holds
/// a secret, and everybody on the machine can read a program's arguments, but only the user can
/// read this page. The browser may outlive the server: it gets none of its descriptors, and signals
/// as a shell would give them.
device::foundation::FileResult<void> openBrowser(const std::string& folder,
                                                 const std::string& address) {
  std::string file = folder + "/open.html";
  const auto page =
      "<!doctype html><title>vecamera</title><meta http-equiv=\"refresh\" content=\"0; "
      "url=" +
      address + "\">\n";
  if (auto written = device::foundation::replaceFile(file, Data::copyOf(page)); !written)
    return written;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // What a browser has to say is nothing that the output's reader waits for.
  for (const int output : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, output, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  // In a session of its own, Ctrl-C does not reach it.
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  std::string program = "xdg-open";
  char* const arguments[] = {program.data(), file.data(), nullptr};
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, program.c_str(), &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) return device::foundation::fileFailure(error);
  return {};
}

}  // namespace

ExitStatus serve(const ServeOptions& options) {
  if (const auto checked = check(options); !checked) return refuse(checked.error());
  auto app = appOf(options);
  if (!app) return refuse(app.error());
  simulator::ServerSetup setup;
  setup.app = *std::move(app);
  setup.userAgent = options.userAgent;
  setup.phone.home = absolute(options.home);
  setup.record = absolute(options.record);
  setup.port = portOf(options.port, simulator::defaultPort);
  setup.appPort = portOf(options.appPort, simulator::defaultAppPort);
  setup.isCancelled = wasInterrupted;
  setup.phone.onDiagnostic = [](const std::string& line) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    complain(line);
  };
  if (options.device) {
    auto part = simulator::readDevicePart(*options.device);
    if (!part) return refuse(part.error().description());
    setup.phone.device = *std::move(part);
  } else {
    // A new phone has not been asked anything yet.
    for (const auto* permission : {"camera", "photoLibrary", "location"})
      setup.phone.device.requested["authorization"][permission] = "notDetermined";
  }

  const auto made = simulator::Server::make(std::move(setup));
  if (!made) return fail(made.error().description());
  const auto& server = *made;
  std::cout << (options.printsJson ? server->addressAsJson() : server->address()) << std::endl;
  if (!std::cout) return fail("standard output cannot be written, so nobody learns the address");
  std::cerr << "Open this address in a browser; Ctrl-C ends it." << std::endl;
  std::optional<device::foundation::ApplicationHome> folder;
  if (options.opensBrowser) folder = device::foundation::ApplicationHome::makePrivate().value();
  if (options.opensBrowser && !(folder && openBrowser(folder->path(), server->address())))
    complain("no browser can be opened: xdg-open is missing; open the address yourself");
  server->run();
  return ExitStatus::success;
}

}  // namespace vecamera::app
