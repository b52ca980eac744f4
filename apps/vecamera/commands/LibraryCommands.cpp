#include "apps/vecamera/commands/Commands.h"

#include <unistd.h>

#include <cctype>
#include <iomanip>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "apps/vecamera/commands/Files.h"
#include "device/foundation/Clocks.h"
#include "device/foundation/Dates.h"
#include "device/foundation/files/ApplicationHome.h"
#include "device/script/assembly/LibraryOptions.h"
#include "device/script/json/JsonValue.h"

namespace vecamera::app {
namespace {

namespace fs = std::filesystem;
using device::Failure;
using device::photos::AssetRecord;
using device::photos::LibraryStore;

AppResult<std::unique_ptr<LibraryStore>> openLibrary(const fs::path& home) {
  auto library =
      LibraryStore::open(device::script::libraryFolder(home), device::script::libraryOptions());
  if (library) return std::move(*library);
  return Failure(home.string() +
                 ": its photo library cannot be opened: " + library.error().message);
}

/// Fails where there is no library, so that looking for one does not make it.
AppResult<void> requireLibrary(const fs::path& home) {
  std::error_code ignored;
  if (fs::is_directory(device::script::libraryFolder(home), ignored)) return {};
  return Failure(home.string() +
                 ": there is no photo library; make one with `vecamera library add FILE --home " +
                 home.string() + "`");
}

std::string_view typeName(const AssetRecord& asset) {
  return asset.type == PHAssetResourceType::video ? "video" : "photo";
}

void printTable(const std::vector<AssetRecord>& assets) {
  std::size_t width = 2;
  for (const auto& asset : assets) width = std::max(width, asset.identifier.size());
  const auto row = [width](const auto& id, const auto& type, const auto& format, const auto& size,
                           const auto& bytes, const auto& created) {
    std::cout << std::left << std::setw(static_cast<int>(width)) << id << "  " << std::setw(5)
              << type << "  " << std::setw(6) << format << "  " << std::right << std::setw(11)
              << size << "  " << std::setw(10) << bytes << "  " << created << '\n';
  };
  row("ID", "TYPE", "FORMAT", "PIXELS", "BYTES", "CREATED");
  for (const auto& asset : assets)
    row(asset.identifier, typeName(asset), formatName(asset),
        std::to_string(asset.width) + "x" + std::to_string(asset.height), asset.byteCount,
        device::foundation::formatISO8601(asset.created));
  std::cout.flush();
}

void printLine(const AssetRecord& asset) {
  const nlohmann::ordered_json line = {
      {"id", asset.identifier},
      {"type", typeName(asset)},
      {"bytes", asset.byteCount},
      {"width", asset.width},
      {"height", asset.height},
      {"format", formatName(asset)},
      {"created", device::foundation::formatISO8601(asset.created)}};
  std::cout << device::script::toLine(line) << std::endl;
}

void showImported(std::size_t done, std::size_t total) {
  if (total >= 2)
    showProgress(static_cast<double>(done) / static_cast<double>(total),
                 std::to_string(done) + " of " + std::to_string(total));
}

/// A file name for the asset: its identifier's own part, with nothing in it that could lead out of
/// a folder.
std::string fileNameOf(const AssetRecord& asset, const std::string& addition) {
  constexpr std::string_view common = "/L0/001";
  std::string name = asset.identifier;
  if (name.ends_with(common)) name.resize(name.size() - common.size());
  for (char& c : name)
    if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '-') c = '_';
  return name + addition + "." + asset.fileExtension;
}

struct ChosenAssets {
  std::unique_ptr<LibraryStore> library;
  std::vector<AssetRecord> records;
};

/// Opens the library of the home for the assets, or every asset where there are no identifiers.
AppResult<ChosenAssets> chooseAssets(const fs::path& home,
                                     const std::vector<std::string>& identifiers) {
  auto library = openLibrary(home);
  if (!library) return std::move(library).failure();
  ChosenAssets chosen{std::move(*library), {}};
  if (identifiers.empty()) {
    auto all = chosen.library->list();
    if (!all) return Failure("the photo library cannot be read: " + all.error().message);
    chosen.records = std::move(*all);
  }
  for (const auto& identifier : identifiers) {
    auto asset = chosen.library->fetchByIdentifier(identifier);
    if (!asset)
      return Failure(identifier + ": " + asset.error().message +
                     "; `vecamera library list` shows the identifiers");
    chosen.records.push_back(std::move(*asset));
  }
  return chosen;
}

AppResult<void> exportAsset(LibraryStore& library, const AssetRecord& asset, const fs::path& file,
                            const LibraryExport& options) {
  std::error_code ignored;
  if (!options.force && fs::exists(fs::symlink_status(file, ignored)))
    return Failure(file.string() + ": there is such a file already; replace it with --force");
  const auto bytes = library.readOriginal(asset.identifier);
  if (!bytes) return Failure(asset.identifier + ": " + bytes.error().message);
  if (const auto written = writeFile(file, *bytes); !written)
    return Failure(written.error() + "; check the folder's permissions and space");
  std::cout << file.string() << std::endl;
  return {};
}

bool isConfirmed(const fs::path& home, std::size_t count) {
  std::cerr << "Remove all " << count << " assets of the photo library in " << home.string()
            << "? [y/N] " << std::flush;
  std::string reply;
  std::getline(std::cin, reply);
  return reply == "y" || reply == "Y" || reply == "yes";
}

}  // namespace

ExitStatus addToLibrary(const fs::path& home, const std::vector<fs::path>& files) {
  std::vector<device::photos::FileToImport> imports;
  for (const auto& file : files) {
    if (const auto readable = requireFile(file); !readable) return refuse(readable.error());
    imports.push_back({file, std::nullopt});
  }
  if (!device::foundation::ApplicationHome::open(home.string()))
    return refuse(home.string() + ": it cannot be used as a home; name a folder of your own");
  const auto library = openLibrary(home);
  if (!library) return fail(library.error());
  const auto report =
      (*library)->importFiles(imports, device::foundation::SystemClock().now(), showImported);
  for (const auto& asset : report.imported) std::cout << asset.identifier << std::endl;
  for (const auto& error : report.refused) complain(error.message);
  return report.refused.empty() ? ExitStatus::success : ExitStatus::failure;
}

ExitStatus listLibrary(const fs::path& home, ListForm form) {
  if (const auto exists = requireLibrary(home); !exists) return refuse(exists.error());
  const auto assets = chooseAssets(home, {});
  if (!assets) return fail(assets.error());
  if (form == ListForm::table)
    printTable(assets->records);
  else
    for (const auto& asset : assets->records) printLine(asset);
  return ExitStatus::success;
}

ExitStatus exportLibrary(const fs::path& home, const LibraryExport& options) {
  if (const auto exists = requireLibrary(home); !exists) return refuse(exists.error());
  std::error_code error;
  fs::create_directories(options.folder, error);
  if (!fs::is_directory(options.folder, error))
    return refuse(options.folder.string() + ": the folder cannot be made; name another with --to");
  const auto assets = chooseAssets(home, options.identifiers);
  if (!assets) return fail(assets.error());

  auto status = ExitStatus::success;
  std::set<std::string> names;
  for (const auto& asset : assets->records) {
    // Two assets never share a file, whatever their identifiers have in common.
    auto name = fileNameOf(asset, "");
    for (int number = 2; !names.insert(name).second; ++number)
      name = fileNameOf(asset, "-" + std::to_string(number));
    if (const auto done = exportAsset(*assets->library, asset, options.folder / name, options);
        !done)
      status = fail(done.error());
  }
  return status;
}

ExitStatus clearLibrary(const fs::path& home, Confirmation confirmation) {
  if (const auto exists = requireLibrary(home); !exists) return refuse(exists.error());
  const bool asks = confirmation == Confirmation::ask;
  if (asks && isatty(STDIN_FILENO) == 0)
    return refuse("clear removes every asset for good; say --yes where nobody can be asked");
  const auto assets = chooseAssets(home, {});
  if (!assets) return fail(assets.error());
  if (asks && !assets->records.empty() && !isConfirmed(home, assets->records.size()))
    return fail("nothing was removed");
  if (const auto cleared = assets->library->clear(); !cleared)
    return fail("the photo library cannot be emptied: " + cleared.error().message);
  return ExitStatus::success;
}

}  // namespace vecamera::app
