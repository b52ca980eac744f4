#include "simulator/server/phone/Phone.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <system_error>
#include <utility>

#include "device/foundation/Dates.h"
#include "device/foundation/Urls.h"
#include "device/foundation/files/Folders.h"
#include "device/foundation/files/TemporaryFolder.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/script/assembly/LibraryParts.h"
#include "device/script/json/JsonValue.h"
#include "device/script/script/ScriptReader.h"
#include "simulator/server/http/ContentTypes.h"
#include "simulator/server/http/Secrets.h"
#include "simulator/server/phone/SampleMedia.h"
#include "simulator/server/sites/PathPolicy.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using std::chrono::microseconds;

constexpr std::chrono::milliseconds kRunOnEvery{50};
/// A recording is written at most so often, and a long one less often still: of the phone's time,
/// writing takes no more than one part in so many.
constexpr std::chrono::seconds kWriteEvery{1};
constexpr int kWritingShare = 10;
/// What takes the place of "file://" where a recording is played, and no server is there.
constexpr const char* kRecordedPrefix = "velmora-file://";
/// Events longer than this do not tell of a file's address.
constexpr std::size_t kLongestFileAnswer = 65536;
constexpr std::size_t kLargestPicture = 256U << 20U;

/// The key under which a step names a file of media; empty where it does not.
std::string mediaKeyOf(const Json& step) {
  const auto found = step.find("do");
  const auto name = found != step.end() && found->is_string() ? found->get<std::string>() : "";
  if (name == "addAsset") return "file";
  if (name != "capture") return {};
  return step.contains("photo") ? "photo" : "movie";
}

/// The same step with "do" in front, for people who read the recording.
Json withNameInFront(const Json& step) {
  Json sorted = Json::object();
  if (step.contains("do")) sorted["do"] = step["do"];
  for (const auto& [key, value] : step.items()) sorted[key] = value;
  return sorted;
}

void emptyFolder(const std::string& path) {
  const auto folder =
      device::foundation::openFolderAt(AT_FDCWD, path, device::foundation::LastLink::refuse);
  const auto names = folder ? device::foundation::entryNames(*folder) : folder.failure();
  if (!names) return;
  for (const auto& name : *names)
    static_cast<void>(device::foundation::removeTreeAt(*folder, name));
}

/// A folder for files that are to stay, removed when nobody needs it any more.
using KeptFolder = std::shared_ptr<const device::foundation::TemporaryFolder>;

/// Null where it cannot be made.
KeptFolder makeKeptFolder(const fs::path& in) {
  auto made = device::foundation::TemporaryFolder::create(in, ".recording-");
  if (!made) return nullptr;
  return std::make_shared<device::foundation::TemporaryFolder>(*std::move(made));
}

/// The file under another name too, so that it stays when the first is removed. Null where it
/// cannot be had. `copyBytes` is what may be copied yet.
HeldFile keepFile(const fs::path& file, const KeptFolder& folder, std::uint64_t& copyBytes) {
  if (!folder) return nullptr;
  const auto as = folder->path() / (randomToken() + file.extension().string());
  std::error_code failed;
  fs::create_hard_link(file, as, failed);
  // Some disks have no such links.
  if (failed) {
    const auto bytes = fs::file_size(file, failed);
    if (failed || bytes > copyBytes) return nullptr;
    copyBytes -= bytes;
    fs::copy_file(file, as, failed);
    if (failed) unlink(as.c_str());
  }
  if (failed) return nullptr;
  return HeldFile(new fs::path(as), [folder](const fs::path* path) {
    unlink(path->c_str());
    delete path;
  });
}

/// Why the library will not take one of the files, told before anything is done for it.
std::optional<std::string> problemWithAssets(const Json& library) {
  const auto parts = device::script::libraryParts();
  for (std::size_t i = 0; i < library.size(); ++i) {
    const std::string file = library[i]["file"];
    if (parts.probeMovie(fs::path(file))) continue;
    const auto contents = device::foundation::readFile(file, kLargestPicture);
    if (!contents || !parts.probePicture(*contents))
      return "library[" + std::to_string(i) + "]: the file is no picture or movie";
  }
  return std::nullopt;
}

}  // namespace

Phone::Phone(PhoneSetup setup, std::unique_ptr<device::foundation::ApplicationHome> home)
    : setup_(std::move(setup)),
      home_(std::move(home)),
      media_(home_->path(), setup_.media),
      recording_(setup_.limits.recording),
      thread_([this] { run(); }) {}

Phone::~Phone() {
  finish();
}

void Phone::finish() {
  stop();
  if (thread_.joinable()) thread_.join();
}

void Phone::receive(std::string message) {
  const std::lock_guard lock(mutex_);
  received_.push_back(std::move(message));
  changed_.notify_one();
}

void Phone::stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.notify_one();
}

std::shared_ptr<device::photos::LibraryStore> Phone::library() const {
  const std::lock_guard lock(mutex_);
  return library_;
}

void Phone::run() {
  if (const auto why = begin(setup_.device, true)) {
    broken_ = *why;
    setup_.diagnose("the phone cannot begin: " + *why);
  }
  sendState();
  std::unique_lock lock(mutex_);
  for (;;) {
    waitForWork(lock);
    if (stopping_) break;
    std::optional<std::string> message;
    if (!received_.empty()) {
      message = std::move(received_.front());
      received_.pop_front();
    }
    lock.unlock();
    if (message)
      handle(*message);
    else if (session_ && !isUnsettled_ && session_->waitingFor())
      runOn();
    if (isRecordingDue() && std::chrono::steady_clock::now() >= nextWriting_) writeRecording();
    lock.lock();
  }
  lock.unlock();
  session_.reset();
  writeRecording();
}

/// Until there is a message, or something to be done without one, or the phone is to end.
void Phone::waitForWork(std::unique_lock<std::mutex>& lock) {
  const auto isCalled = [this] { return stopping_ || !received_.empty(); };
  const bool runsOn = session_ && !isUnsettled_ && session_->waitingFor();
  if (runsOn)
    changed_.wait_for(lock, kRunOnEvery, isCalled);
  else if (isRecordingDue())
    changed_.wait_until(lock, nextWriting_, isCalled);
  else
    changed_.wait(lock, isCalled);
}

void Phone::handle(const std::string& message) {
  const auto parsed = parseRequest(message);
  Json id;
  Failure failure;
  if (const auto* refusal = std::get_if<RequestRefusal>(&parsed)) {
    id = refusal->id;
    failure = refusal->why;
  } else {
    const auto& request = std::get<PhoneRequest>(parsed);
    id = request.id;
    failure = std::visit([this](const auto& what) { return carryOutSafely(what); }, request.what);
    // Whoever hears of a failed restart is told how things stand, also where nothing has changed.
    if (failure && std::holds_alternative<RestartRequest>(request.what)) lastState_.clear();
    sendState();
  }
  if (!diagnostics_.view().empty()) {
    setup_.diagnose(std::exchange(diagnostics_, std::ostringstream()).str());
  }
  Json reply{{"type", failure ? "failed" : "done"}, {"id", id}};
  if (failure) reply["why"] = *failure;
  setup_.send({PhoneMessage::Kind::reply, device::script::toLine(reply)});
}

/// Without letting out what a library throws, of which each request must be told.
template <class Request>
Phone::Failure Phone::carryOutSafely(const Request& request) {
  try {
    return carryOut(request);
  } catch (const std::exception& thrown) {
    return std::string("it cannot be carried out: ") + thrown.what();
  }
}

Phone::Failure Phone::carryOut(const StepRequest& request) {
  return play(request.step);
}

Phone::Failure Phone::carryOut(const RestartRequest& request) {
  if (auto why = problemWithAskedPart(request.device)) return why;
  DevicePart part{request.device, setup_.device.kept, Json::array()};
  // It is of this one device: the next one draws other identifiers again.
  if (const auto seed = part.asked.find("seed"); seed != part.asked.end()) {
    part.kept["seed"] = std::move(*seed);
    part.asked.erase("seed");
  }
  std::vector<HeldFile> held;
  if (const auto library = part.asked.find("library"); library != part.asked.end()) {
    part.library = std::move(*library);
    part.asked.erase("library");
    if (!part.library->is_array()) return "library: it must be a list";
    for (auto& asset : *part.library) {
      Recording::File file;
      if (!asset.is_object() || !asset.contains("file"))
        return "library: an asset is an object with \"id\" and \"file\"";
      file.key = "file";
      if (auto why = replaceFile(asset, file)) return why;
      if (!file.held) return "library: a \"file\" is a text";
      asset["file"] = file.held->string();
      held.push_back(std::move(file.held));
    }
  }
  if (const auto script = scriptOf(part); const auto* why = std::get_if<std::string>(&script))
    return *why;
  if (auto why = problemWithAssets(*part.library)) return why;
  setup_.send({PhoneMessage::Kind::restarted, device::script::toLine(part.asked)});
  // What nothing has named so far was meant for the device that ends.
  media_.dropUnheld();
  return begin(part, request.keepLibrary);
}

Phone::Failure Phone::carryOut(const RestoreSamplesRequest&) {
  const auto store = library();
  if (!store) return broken_;
  for (const auto& sample : sampleMedia()) {
    if (store->fetchByIdentifier(sample.identifier)) continue;
    const auto file = keep(sample.contents, sample.fileName);
    if (!file) return "the samples cannot be written; is the disk full?";
    if (auto why = play({{"do", "addAsset"}, {"id", sample.identifier}, {"file", *file}}))
      return why;
  }
  return std::nullopt;
}

Phone::Failure Phone::openLibrary(bool keepLibrary) {
  const fs::path home = setup_.home ? *setup_.home : fs::path(home_->path());
  if (!library()) {
    if (!device::foundation::ApplicationHome::open(home.string()))
      return home.string() + ": it cannot be a device's home; name a folder of your own";
    auto store = device::photos::LibraryStore::open(device::script::libraryFolder(home),
                                                    device::script::libraryParts());
    if (!store) return "the photo library cannot be opened: " + store.error().text;
    const std::lock_guard lock(mutex_);
    library_ = std::move(*store);
  }
  // The library of a home belongs to its developer, and other phones use it too.
  if (keepLibrary || setup_.home) return std::nullopt;
  const auto cleared = library()->clear();
  return cleared ? std::nullopt : Failure(cleared.error().text);
}

/// The part without the assets that stand in the library already, and with the samples where it is
/// the phone's own and nothing else is asked for.
DevicePart Phone::withFreshLibrary(DevicePart part) const {
  Json wanted = part.library.value_or(Json::array());
  if (!part.library && !setup_.home) {
    const auto made = device::foundation::makePrivateFolder(folder() + "/samples");
    for (const auto& sample : sampleMedia()) {
      const auto path = folder() + "/samples/" + sample.fileName;
      if (made && device::foundation::replaceFile(path, sample.contents))
        wanted.push_back({{"id", sample.identifier}, {"file", path}});
    }
  }
  part.library = Json::array();
  for (const auto& asset : wanted)
    if (!library()->fetchByIdentifier(asset["id"].get<std::string>()))
      part.library->push_back(asset);
  return part;
}

Phone::Failure Phone::begin(const DevicePart& part, bool keepLibrary) {
  session_.reset();
  emptyFolder(temporaryDirectory());
  part_ = part;
  screens_ = PresentedScreens();
  owners_ = FileOwners();
  faults_ = part.asked.value("faults", Json::array());
  clockOffset_ = microseconds(0);
  isUnsettled_ = false;
  step_ = 0;
  calls_ = 0;
  callBytes_ = 0;
  lastState_.clear();
  unrecorded_.clear();
  Failure why;
  try {
    why = makeDevice(part, keepLibrary);
  } catch (const std::exception& thrown) {
    why = thrown.what();
  }
  broken_ = why.value_or("");
  if (why) session_.reset();
  noteLibrary();
  return why;
}

Phone::Failure Phone::makeDevice(const DevicePart& part, bool keepLibrary) {
  if (auto why = openLibrary(keepLibrary)) return why;
  auto read = scriptOf(withFreshLibrary(part));
  if (const auto* why = std::get_if<std::string>(&read)) return *why;
  auto& setup = std::get<device::script::Script>(read).device;
  setup.home = setup_.home ? *setup_.home : fs::path(home_->path());
  setup.temporaryDirectory = temporaryDirectory();
  isClockFixed_ = setup.clock.has_value();
  if (!setup.clock) setup.clock = setup_.realTime();
  if (!setup.seed) setup.seed = randomSeed();
  setup.urlTransformer = {device::script::UrlTransformerSetup::Kind::replace, "file://",
                          kRecordedPrefix};

  device::script::PlayOptions options;
  options.isInterrupted = [this] {
    const std::lock_guard lock(mutex_);
    return stopping_;
  };
  options.onTrace = [this](const device::script::TraceSpan& span) { noteTrace(span); };
  options.onExportProgress = [this](float progress) {
    setup_.send({PhoneMessage::Kind::passing,
                 device::script::toLine(
                     {{"type", "progress"}, {"what", "export"}, {"fraction", progress}})});
  };
  auto made = device::script::PlaySession::make(
      setup, options, [this](const Json& event) { noteEvent(device::script::toLine(event)); },
      diagnostics_);
  if (!made) return made.error().message();
  session_ = *std::move(made);
  session_->device().setUrlTransformer({true, urlTransformer()});
  beginRecording(setup);
  if (!session_->runReadyJobs()) {
    // The state says what ended the process.
  }
  return std::nullopt;
}

/// The one of the recording, but that what it answers for a temporary file can be fetched.
URLTransformer Phone::urlTransformer() const {
  const auto files =
      device::foundation::Urls().fileURLWithPath(temporaryDirectory() + "/").absoluteString();
  return [files, address = setup_.filesAddress](const URL& url) -> std::optional<URL> {
    constexpr std::string_view prefix = "file://";
    const auto& text = url.absoluteString();
    if (text.starts_with(files)) return URL(address + text.substr(files.size()));
    if (text.starts_with(prefix)) return URL(kRecordedPrefix + text.substr(prefix.size()));
    return std::nullopt;
  };
}

void Phone::beginRecording(const device::script::DeviceSetup& setup) {
  Json device = part_.asked;
  for (const auto& [key, value] : part_.kept.items()) device[key] = value;
  device["clock"] = device::foundation::formatISO8601(*setup.clock);
  device["seed"] = *setup.seed;
  device["urlTransformer"] = {{"replace", {"file://", kRecordedPrefix}}};

  std::vector<Recording::Asset> assets;
  const auto why = holdLibrary(assets);
  recording_.begin(std::move(device), std::move(assets));
  isRecordingDirty_ = true;
  if (!why) return;
  recording_.end(*why);
  setup_.diagnose("the recording has ended: " + *why);
}

/// Holds the library's files for the recording, beneath the home whose library it is: there they
/// need not be copied.
Phone::Failure Phone::holdLibrary(std::vector<Recording::Asset>& assets) {
  const auto records = library()->list();
  if (!records) return records.error().text;
  const auto folder = makeKeptFolder(setup_.home ? *setup_.home : fs::path(home_->path()));
  auto copyBytes = setup_.media.totalBytes;
  for (const auto& record : *records) {
    const auto original = library()->originalFile(record.identifier);
    auto held = original ? keepFile(*original, folder, copyBytes) : nullptr;
    if (held)
      assets.push_back({record.identifier, std::move(held)});
    else if (library()->fetchByIdentifier(record.identifier))
      return "\"" + record.identifier + "\" of the photo library cannot be kept for it";
    // Else another phone of this home has removed it meanwhile.
  }
  return std::nullopt;
}

Phone::Failure Phone::play(Json step) {
  if (!session_) return "there is no device: " + broken_;
  if (const auto dead = session_->checkProcess(); !dead)
    return dead.error().message() + "; restart the device";
  step = withNameInFront(step);
  Recording::File file{mediaKeyOf(step), {}};
  if (auto why = replaceFile(step, file)) return why;
  const auto parsed =
      device::script::stepFromJson(step, media_.folder(), device::script::FileScope::folder);
  if (!parsed) return parsed.error().message();
  const auto& scriptStep = *parsed;
  if (auto why = problemWith(scriptStep.step, step)) return why;

  moveClock();
  step_ = recording_.steps();
  if (auto played = session_->play(scriptStep.step); !played) return played.error().message();
  const auto run = scriptStep.settle ? session_->runReadyJobs() : session_->checkProcess();
  const auto failure = run ? Failure() : Failure(run.error().message());
  isUnsettled_ = !scriptStep.settle;
  if (const auto* advance = std::get_if<device::script::AdvanceStep>(&scriptStep.step))
    clockOffset_ += advance->by;
  if (std::holds_alternative<device::script::FaultsStep>(scriptStep.step)) faults_ = step["to"];
  // One that waits for the world outside goes on only when a later step has changed that.
  if (session_->waitingFor()) step["settle"] = false;
  if (!file.key.empty()) step.erase(file.key);
  record(std::move(step), std::move(file));
  if (!session_->checkProcess()) session_->reportFailure(step_, run.error());
  noteLibrary();
  return failure;
}

/// Why a phone does not play what a script may hold.
Phone::Failure Phone::problemWith(const device::script::Step& step, const Json& asked) {
  const auto& limits = setup_.limits;
  const std::array folders = {media_.folder() / "media", fs::path(temporaryDirectory())};
  if (auto why = problemWithFiles(step, folders)) return why;
  const auto* capture = std::get_if<device::script::CaptureStep>(&step);
  if (capture != nullptr && capture->file.empty() && capture->seconds > limits.sceneSeconds)
    return "movie: the phone makes no movie of its own that is longer than " +
           std::to_string(std::llround(limits.sceneSeconds)) + " seconds; upload one";
  if (!device::script::opensCallback(step)) return std::nullopt;
  const auto bytes = device::script::toLine(asked).size();
  if (session_->device().container.callbacks().open().size() >= limits.openCalls)
    return std::to_string(limits.openCalls) + " calls are open already; restart the device";
  if (calls_ >= limits.calls || callBytes_ + bytes > limits.callBytes)
    return "the page has made so many calls that the device takes no more; restart it";
  ++calls_;
  callBytes_ += bytes;
  return std::nullopt;
}

void Phone::record(Json step, Recording::File file) {
  const auto held = file.held;
  const bool hadEnded = recording_.ended().has_value();
  if (recording_.add(std::move(step), std::move(file))) {
    isRecordingDirty_ = true;
  } else {
    if (!hadEnded) setup_.diagnose("the recording has ended: " + *recording_.ended());
    if (held) unrecorded_.push_back(held);
  }
  // Work that waits may still read them.
  if (!isUnsettled_ && !session_->waitingFor()) unrecorded_.clear();
}

/// Puts a file of the session in the place of what the step names: a data URL, or such a file.
Phone::Failure Phone::replaceFile(Json& step, Recording::File& file) {
  const auto found = file.key.empty() ? step.end() : step.find(file.key);
  if (found == step.end() || !found->is_string()) {
    file.key.clear();
    return std::nullopt;
  }
  auto name = found->get<std::string>();
  if (name.starts_with("data:")) {
    constexpr std::string_view marker = ";base64,";
    const auto comma = name.find(marker);
    const auto bytes =
        comma == std::string::npos
            ? std::nullopt
            : device::script::decodeBase64(std::string_view(name).substr(comma + marker.size()));
    if (!bytes) return file.key + ": a data URL is written \"data:TYPE;base64,BASE64\"";
    const auto type = std::string_view(name).substr(5, comma - 5);
    const auto kept = keep(*bytes, "data." + extensionOfType(type));
    if (!kept) return file.key + ": the file cannot be written";
    name = *kept;
  }
  file.held = media_.hold(name);
  if (!file.held)
    return file.key + ": there is no such file (any more); upload it first, or give a data URL";
  *found = name;
  return std::nullopt;
}

std::optional<std::string> Phone::keep(const Data& contents, std::string_view name) {
  const auto writer = media_.begin(name);
  const auto bytes = contents.bytes();
  const std::span<const char> characters(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (!writer || writer->write(characters)) return std::nullopt;
  return writer->finish();
}

/// Where nobody gave the phone a time, its clock stands still during a step and is taken to the
/// real time before it, by a step of its own. While the device is in the middle of something the
/// clock stays, because a script that is played again comes to these steps at once.
void Phone::moveClock() {
  if (isClockFixed_ || isUnsettled_ || session_->waitingFor()) return;
  const auto by = setup_.realTime() + clockOffset_ - session_->device().base.clock->now();
  if (by <= microseconds(0)) return;
  step_ = recording_.steps();
  if (!session_->play(device::script::AdvanceStep{by})) return;
  const double seconds = static_cast<double>(by.count()) / 1e6;
  record({{"do", "advance"}, {"seconds", seconds}}, {});
}

void Phone::runOn() {
  if (const auto run = session_->runReadyJobs(); !session_->checkProcess())
    session_->reportFailure(step_, run.error());
  noteLibrary();
  sendState();
}

void Phone::noteLibrary() {
  const auto store = library();
  if (!store) return;
  std::vector<std::int64_t> assets;
  if (const auto records = store->list())
    for (const auto& record : *records) assets.push_back(record.sequence);
  if (assets == assets_ && libraryVersion_ > 0) return;
  assets_ = std::move(assets);
  ++libraryVersion_;
}

void Phone::noteEvent(const std::string& line) {
  if (line.size() <= kLongestFileAnswer) {
    const auto event = Json::parse(line, nullptr, false);
    screens_.note(event);
    if (event.value("event", "") == "answer") {
      const auto address = line.find(setup_.filesAddress);
      if (address != std::string::npos) {
        const auto begin = address + setup_.filesAddress.size();
        const auto name = line.substr(begin, line.find('"', begin) - begin);
        owners_.set(device::foundation::removingPercentEncoding(name).value_or(name),
                    event.value("to", ""));
      }
    }
  }
  sendLogged("event", ",\"event\":" + line);
}

void Phone::noteTrace(const device::script::TraceSpan& span) {
  Json trace{{"what", span.what}, {"ms", span.ms}};
  if (span.bytes) trace["bytes"] = *span.bytes;
  if (span.width) trace["width"] = *span.width;
  if (span.height) trace["height"] = *span.height;
  if (span.path) trace["path"] = *span.path;
  if (span.error) trace["error"] = *span.error;
  auto rest = device::script::toLine(trace);
  rest.front() = ',';
  rest.pop_back();
  sendLogged("trace", rest);
}

void Phone::sendLogged(std::string_view type, const std::string& rest) {
  setup_.send({PhoneMessage::Kind::logged, "{\"type\":\"" + std::string(type) +
                                               "\",\"n\":" + std::to_string(messages_++) +
                                               ",\"at\":" + std::to_string(millisecondsSoFar()) +
                                               ",\"step\":" + std::to_string(step_) + rest + "}"});
}

void Phone::sendState() {
  const StateExtras extras{screens_,          owners_,         faults_,
                           isClockFixed_,     libraryVersion_, recording_.steps(),
                           recording_.ended()};
  if (!session_) return sendState(brokenStateMessage(broken_, extras));
  auto& device = session_->device();
  std::vector<std::string> present;
  for (const auto& file : temporaryFiles(device.base.temporaryDirectory))
    present.push_back(file.name);
  owners_.settle(present, currentCallback(device));
  sendState(stateMessage(*session_, extras));
}

void Phone::sendState(const Json& state) {
  auto text = device::script::toLine(state);
  if (text == lastState_) return;
  lastState_ = text;
  setup_.send({PhoneMessage::Kind::state, std::move(text)});
}

bool Phone::isRecordingDue() const {
  return isRecordingDirty_ && setup_.record;
}

void Phone::writeRecording() {
  if (!isRecordingDue()) return;
  const auto begun = std::chrono::steady_clock::now();
  // What could not be written is tried again, and told once.
  isRecordingDirty_ = !recording_.writeTo(*setup_.record);
  if (isRecordingDirty_ && !hasWritingFailed_)
    setup_.diagnose("the recording cannot be written to " + setup_.record->string());
  hasWritingFailed_ = isRecordingDirty_;
  const auto end = std::chrono::steady_clock::now();
  nextWriting_ = end + std::max<std::chrono::steady_clock::duration>(kWriteEvery,
                                                                     kWritingShare * (end - begun));
}

std::int64_t Phone::millisecondsSoFar() const {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now() - begun_).count();
}

}  // namespace vecamera::simulator
