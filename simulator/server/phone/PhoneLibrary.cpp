#include "simulator/server/phone/PhoneLibrary.h"

#include <unistd.h>

#include <string>
#include <system_error>
#include <utility>

#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/Folders.h"
#include "device/foundation/files/TemporaryFolder.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/script/assembly/LibraryOptions.h"
#include "simulator/server/http/Secrets.h"
#include "simulator/server/phone/SampleMedia.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t maxPictureBytes = 256U << 20U;

/// A folder for files that are to stay, removed when nobody needs it any more.
using KeptFolder = std::shared_ptr<const foundation::TemporaryFolder>;

/// The file under a second name, so that it stays when the first is removed. `copyBytes` is how
/// much may still be copied.
FileResult<HeldFile> keepFile(const fs::path& file, const KeptFolder& folder,
                              std::uint64_t& copyBytes) {
  const auto as = folder->path() / (randomToken() + file.extension().string());
  std::error_code error;
  fs::create_hard_link(file, as, error);
  // Some disks have no such links.
  if (error) {
    const auto bytes = fs::file_size(file, error);
    if (error) return foundation::fileFailure(error.value());
    if (bytes > copyBytes) return foundation::fileFailure(EFBIG);
    copyBytes -= bytes;
    fs::copy_file(file, as, error);
    if (error) unlink(as.c_str());
  }
  if (error) return foundation::fileFailure(error.value());
  return HeldFile(new fs::path(as), [folder](const fs::path* path) {
    unlink(path->c_str());
    delete path;
  });
}

/// The samples as listed assets, in files of the folder.
Json writeSamples(const fs::path& folder) {
  Json assets = Json::array();
  if (!foundation::makePrivateFolder(folder)) return assets;
  for (const auto& sample : sampleMedia()) {
    const auto path = (folder / sample.fileName).string();
    if (foundation::replaceFile(path, sample.contents))
      assets.push_back({{"id", sample.identifier}, {"file", path}});
  }
  return assets;
}

}  // namespace

std::shared_ptr<device::photos::LibraryStore> PhoneLibrary::store() const {
  const std::lock_guard lock(mutex_);
  return store_;
}

ScriptResult<> PhoneLibrary::open(OldAssets oldAssets) {
  if (!store()) {
    if (!foundation::ApplicationHome::open(home().string()))
      return failed(home().string() + ": it cannot be a device's home; name a folder of your own");
    auto opened =
        device::photos::LibraryStore::open(script::libraryFolder(home()), script::libraryOptions());
    if (!opened) return failed("the photo library cannot be opened: " + opened.error().message);
    const std::lock_guard lock(mutex_);
    store_ = std::move(*opened);
  }
  if (oldAssets == OldAssets::keep || sharedHome_) return {};
  if (const auto cleared = store()->clear(); !cleared) return failed(cleared.error().message);
  return {};
}

Json PhoneLibrary::missing(const std::optional<Json>& listed) const {
  Json assets = Json::array();
  const auto isOwnWithSamples = !listed && !sharedHome_;
  for (const auto& asset :
       isOwnWithSamples ? writeSamples(ownHome_ / "samples") : listed.value_or(Json::array()))
    if (!store()->fetchByIdentifier(asset["id"].get<std::string>())) assets.push_back(asset);
  return assets;
}

ScriptResult<> PhoneLibrary::hold(std::uint64_t copyBytes,
                                  std::vector<Recording::Asset>& assets) const {
  const auto store = this->store();
  const auto records = store->list();
  if (!records) return failed(records.error().message);
  // In the home whose library it is, where links to its files can be made.
  auto made = foundation::TemporaryFolder::create(home(), ".recording-");
  const KeptFolder folder =
      made ? std::make_shared<foundation::TemporaryFolder>(*std::move(made)) : nullptr;
  for (const auto& record : *records) {
    const auto original = store->originalFile(record.identifier);
    auto held = original && folder ? keepFile(*original, folder, copyBytes)
                                   : foundation::fileFailure(ENOENT);
    if (held)
      assets.push_back({record.identifier, *std::move(held)});
    else if (store->fetchByIdentifier(record.identifier))
      return failed("\"" + record.identifier + "\" of the photo library cannot be kept for it");
    // Else another phone of this home has removed it meanwhile.
  }
  return {};
}

void PhoneLibrary::update() {
  const auto store = this->store();
  if (!store) return;
  std::vector<std::int64_t> assets;
  if (const auto records = store->list())
    for (const auto& record : *records) assets.push_back(record.sequence);
  if (assets == assets_ && version_ > 0) return;
  assets_ = std::move(assets);
  ++version_;
}

ScriptResult<> checkAssets(const Json& listed) {
  const auto options = script::libraryOptions();
  for (std::size_t i = 0; i < listed.size(); ++i) {
    const std::string file = listed[i]["file"];
    if (options.probeMovie(fs::path(file))) continue;
    const auto contents = foundation::readFile(file, maxPictureBytes);
    if (!contents || !options.probePicture(*contents))
      return failed("library[" + std::to_string(i) + "]: the file is no picture or movie");
  }
  return {};
}

}  // namespace vecamera::simulator
